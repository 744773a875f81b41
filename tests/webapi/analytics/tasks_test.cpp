#include <span>
#include <sstream>

#include "analyticstest.h"
#include "facesetting.h"
#include "tavisetting.h"

namespace {

using support::Lines;
using testing::ElementsAre;
using testing::IsEmpty;

/// The two kinds run through the same scenarios.
struct TaskKind {
  std::string table, function, title, listed;
  int shift, late_shift;  ///< of the places of messages, against those of IVA tasks: up to line 150, and from there on
  const char* kept;       ///< what the dumps of the rewritten task show besides
  void (*update)(const std::string& entries, int zr, bool update_only);

  std::string Message(int level, int line, const std::string& text) const {
    return "log " + std::to_string(level) + " " + function + ":" +
           std::to_string(line + (line < 150 ? shift : late_shift)) + " " + text;
  }
};

class Tasks : public AnalyticsTest {
 protected:
  const TaskKind kinds_[2] = {{"iva_task", "UpdateIvaInfo", "Iva", "IVA", 0, 0, "", Iva},
                              {"face_task", "UpdateFaceInfo", "Face", "Face", 240, 241, R"(,"task_id":0)", Face}};

  Lines Run(const TaskKind& kind, const std::string& entries, bool update_only = false, int level = 5) {
    return Journal([&] { kind.update(entries, 7, update_only); }, level);
  }
};

TEST_F(Tasks, FollowTheSnapshot) {
  for (const TaskKind& kind : kinds_) {
    SCOPED_TRACE(kind.table);
    const std::string get_new = kind.Message(5, 186, "Get a new " + kind.listed + " task from ZR[7].");
    EXPECT_THAT(Run(kind, R"({"id":1,"camera_id":1,"name":"A"},{"id":2,"camera_id":2,"name":"B"},
                             {"id":3,"camera_id":2,"name":"C"},{"id":5,"camera_id":1})"),
                ElementsAre(get_new, "insert " + kind.table + " 1", get_new, "insert " + kind.table + " 2", get_new,
                            "insert " + kind.table + " 3", get_new, "insert " + kind.table + " 4"));
    // Unchanged; changed; its camera is unknown, so that its copy goes; new; no longer reported.
    const std::string ids = R"("id":2,"id_on_rec_server":2,"name":"B","owner_zr_id":7)" + std::string(kind.kept) + "}]";
    EXPECT_THAT(Run(kind, R"({"id":4,"camera_id":1,"name":"D"},{"id":2,"camera_id":1,"name":"B"},
                             {"id":1,"camera_id":1,"name":"A"},{"id":3,"camera_id":9,"name":"C"})",
                    false, 7),
                ElementsAre(kind.Message(5, 161, kind.title + " Task[2] info changed."),
                            kind.Message(7, 162, R"(Original Task info: [{"camera_id":12,)" + ids),
                            kind.Message(7, 163, R"(New      Task info: [{"camera_id":11,)" + ids),
                            "update " + kind.table + " 2", kind.Message(1, 131, "Cam[9]: Load from Zr[7] failed."),
                            kind.Message(5, 176, "Delete Extra " + kind.title + " Task in db from ZR[7]."),
                            "delete " + kind.table + " WHERE id=3", "delete " + kind.table + " WHERE id=4", get_new,
                            kind.Message(7, 187,
                                         R"(New Task info: [{"camera_id":11,"id":0,"id_on_rec_server":4,"name":"D",)"
                                         R"("owner_zr_id":7}])"),
                            "insert " + kind.table + " 5"));
    EXPECT_THAT(Rows("SELECT id,owner_zr_id,id_on_rec_server,camera_id,name FROM " + kind.table + " ORDER BY id"),
                ElementsAre("1|7|1|11|A", "2|7|2|11|B", "5|7|4|11|D"));

    // Another slave's list says nothing about these, nor does a list that adds and deletes nothing.
    EXPECT_THAT(Journal([&] { kind.update(R"({"id":2,"camera_id":1})", 8, false); }, 4),
                ElementsAre("insert " + kind.table + " 6"));
    EXPECT_THAT(Run(kind, R"({"id":9,"camera_id":1},{"id":2,"camera_id":1,"name":"BB"},{"id":4,"camera_id":4})", true),
                ElementsAre(kind.Message(5, 161, kind.title + " Task[2] info changed."), "update " + kind.table + " 2",
                            kind.Message(1, 131, "Cam[4]: Load from Zr[7] failed.")));
    const Json::Value no_lists(Json::objectValue);
    CachedCamMap cameras(7, MAP_KEY_ID_ON_REC_SERVER);
    EXPECT_THAT(
        Journal([&] { UpdateIvaInfo(no_lists, 7, cameras, false), UpdateFaceInfo(no_lists, 7, cameras, false); }),
        IsEmpty());
    EXPECT_THAT(Run(kind, ""),
                ElementsAre(kind.Message(5, 176, "Delete Extra " + kind.title + " Task in db from ZR[7]."),
                            "delete " + kind.table + " WHERE id=1", "delete " + kind.table + " WHERE id=2",
                            "delete " + kind.table + " WHERE id=5"));
    EXPECT_THAT(Rows("SELECT id FROM " + kind.table), ElementsAre("6"));
  }
}

TEST_F(Tasks, AreWrittenOnceWhateverTheTypes) {
  const std::string values = R"(null 0 1 7 -1 1.0 0.1 0.5 16777217 4294967297 1e300 5e-324 true false "" "5" "abc"
      "a\u0000b" "it's\\'\n\"x\";--" [1,{"a":null}] {"key":1})";
  for (const TaskKind& kind : kinds_) {
    const auto& columns = kind.table == "iva_task"
                              ? std::span<const DBColumn>(DBColumnMembers<TAVI_SETTING_DB_COLUMNS>::kColumns)
                              : std::span<const DBColumn>(DBColumnMembers<FACE_SETTING_DB_COLUMNS>::kColumns);
    Lines keys = {"extra", "unknown"};
    for (const DBColumn& column : columns) {
      if (column.info.role == FieldRole::Config && column.info.references == nullptr)
        keys.emplace_back(column.info.column);
    }
    std::istringstream list(values);
    for (std::string value; list >> value;) {
      std::string entry = R"({"id":1,"camera_id":1)";
      for (const std::string& key : keys) entry += ",\"" + key + "\":" + value;
      Run(kind, entry + "}", false, 0);
      EXPECT_THAT(Run(kind, entry + "}", false, 5), IsEmpty()) << kind.table << ' ' << value;
      EXPECT_EQ(Rows("SELECT COUNT(*) FROM " + kind.table), Lines{"1"});
    }
    EXPECT_EQ(Run(kind, R"({"id":1,"camera_id":1,"unknown":{"key":1}})").size(), 2U) << "absent columns are a change";
    EXPECT_THAT(Run(kind, R"({"id":1,"camera_id":1,"unknown":{"key":1},"other":null})"), IsEmpty());
    EXPECT_EQ(Run(kind, R"({"id":1,"camera_id":1,"unknown":{"key":2}})").size(), 2U);
  }
}

TEST_F(Tasks, TaskIdOfAFaceIsTheHosts) {
  const auto report = [&](const std::string& task_id, const std::string& name) {
    return Run(kinds_[1], R"({"id":1,"camera_id":1,"task_id":)" + task_id + ",\"name\":\"" + name + "\"}");
  };
  report("5", "A");
  EXPECT_THAT(Rows("SELECT task_id FROM face_task"), ElementsAre("0"));
  Sql("UPDATE face_task SET task_id=33");
  EXPECT_THAT(report("6", "A"), IsEmpty());
  EXPECT_EQ(report("6", "B").size(), 2U);
  EXPECT_THAT(Rows("SELECT task_id,name FROM face_task"), ElementsAre("33|B"));
}

TEST_F(Tasks, GoOnAfterAFailure) {
  for (const TaskKind& kind : kinds_) {
    SCOPED_TRACE(kind.table);
    Run(kind, R"({"id":1,"camera_id":1},{"id":2,"camera_id":1},{"id":3,"camera_id":1})");
    Refuse("DELETE", kind.table, "OLD.id=1");
    Refuse("INSERT", kind.table, "NEW.name='no'");
    Refuse("UPDATE", kind.table, "NEW.name='no'");
    const std::string failed = "failed to execute a command on database [0]";
    const std::string get_new = kind.Message(5, 186, "Get a new " + kind.listed + " task from ZR[7].");
    EXPECT_THAT(
        Run(kind, R"({"id":3,"camera_id":1,"name":"no"},{"id":4,"camera_id":1,"name":"no"},
                             {"id":5,"camera_id":1})"),
        ElementsAre(kind.Message(5, 161, kind.title + " Task[3] info changed."), failed,
                    kind.Message(5, 176, "Delete Extra " + kind.title + " Task in db from ZR[7]."),
                    "failed to delete " + kind.table + " [1]",
                    kind.Message(1, 179, "Failed to delete " + kind.title + " task[1] of slave[7] ."),
                    "delete " + kind.table + " WHERE id=2", get_new, failed, get_new, "insert " + kind.table + " 4"));
    Break(kind.table);
    EXPECT_THAT(Run(kind, R"({"id":1,"camera_id":1})"),
                ElementsAre(failed, kind.Message(1, 121, "Failed to get " + kind.title + "Task list of ZR [7].")));
  }
  Break("camera");
  for (const TaskKind& kind : kinds_) {
    EXPECT_THAT(Run(kind, ""),
                ElementsAre("failed to list camera [0]", kind.Message(1, 116, "Failed to get cam map of ZR [7].")));
  }
}

}  // namespace
