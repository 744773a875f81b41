#include <span>
#include <sstream>

#include "analyticstest.h"
#include "facesetting.h"
#include "tavisetting.h"

namespace {

using support::Lines;
using support::Parse;
using testing::ElementsAre;
using testing::IsEmpty;

/// The two kinds run through the same scenarios.
struct TaskKind {
  std::string section, table, function, title, listed;
  void (*update)(const Json::Value& info, int zr, bool update_only);

  Json::Value Document(const std::string& entries) const { return Parse("{\"" + section + "\":[" + entries + "]}"); }
  std::string Message(int level, const std::string& text) const {
    return "log " + std::to_string(level) + " " + function + " " + text;
  }
};

class Tasks : public AnalyticsTest {
 protected:
  const TaskKind kinds_[2] = {{"iva_info", "iva_task", "UpdateIvaInfo", "Iva", "IVA",
                               [](const auto& info, int zr, bool only) { Iva(info, zr, only); }},
                              {"face_info", "face_task", "UpdateFaceInfo", "Face", "Face",
                               [](const auto& info, int zr, bool only) { Face(info, zr, only); }}};

  Lines Run(const TaskKind& kind, const std::string& entries, bool update_only = false, int level = 5) {
    return Journal([&] { kind.update(kind.Document(entries), 7, update_only); }, level);
  }
};

TEST_F(Tasks, FollowTheSnapshot) {
  for (const TaskKind& kind : kinds_) {
    SCOPED_TRACE(kind.section);
    const std::string get_new = kind.Message(5, "Get a new " + kind.listed + " task from ZR[7].");
    EXPECT_THAT(Run(kind, R"({"id":1,"camera_id":1,"name":"A"},{"id":2,"camera_id":2,"name":"B"},
                             {"id":3,"camera_id":2,"name":"C"},{"id":5,"camera_id":1})"),
                ElementsAre(get_new, "insert " + kind.table + " 1", get_new, "insert " + kind.table + " 2", get_new,
                            "insert " + kind.table + " 3", get_new, "insert " + kind.table + " 4"));
    // Unchanged; changed; its camera is unknown, so that its copy goes; new; no longer reported.
    EXPECT_THAT(Run(kind, R"({"id":4,"camera_id":1,"name":"D"},{"id":2,"camera_id":1,"name":"B"},
                             {"id":1,"camera_id":1,"name":"A"},{"id":3,"camera_id":9,"name":"C"})"),
                ElementsAre(kind.Message(5, kind.title + " Task[2] info changed."), "update " + kind.table + " 2",
                            kind.Message(1, "Cam[9]: Load from Zr[7] failed."),
                            kind.Message(5, "Delete Extra " + kind.title + " Task in db from ZR[7]."),
                            "delete " + kind.table + " WHERE id=3", "delete " + kind.table + " WHERE id=4", get_new,
                            "insert " + kind.table + " 5"));
    EXPECT_THAT(Rows("SELECT id,owner_zr_id,id_on_rec_server,camera_id,name FROM " + kind.table + " ORDER BY id"),
                ElementsAre("1|7|1|11|A", "2|7|2|11|B", "5|7|4|11|D"));

    // Another slave's list says nothing about these.
    EXPECT_THAT(Journal([&] { kind.update(kind.Document(R"({"id":2,"camera_id":1})"), 8, false); }, 4),
                ElementsAre("insert " + kind.table + " 6"));
    EXPECT_THAT(Journal([&] { kind.update(Parse("{}"), 7, false); }), IsEmpty());
    EXPECT_THAT(Run(kind, "", true), IsEmpty());
    EXPECT_THAT(Run(kind, ""),
                ElementsAre(kind.Message(5, "Delete Extra " + kind.title + " Task in db from ZR[7]."),
                            "delete " + kind.table + " WHERE id=1", "delete " + kind.table + " WHERE id=2",
                            "delete " + kind.table + " WHERE id=5"));
    EXPECT_THAT(Rows("SELECT id FROM " + kind.table), ElementsAre("6"));
  }
}

TEST_F(Tasks, UpdateOnlyNeitherAddsNorDeletes) {
  for (const TaskKind& kind : kinds_) {
    SCOPED_TRACE(kind.section);
    Run(kind, R"({"id":1,"camera_id":1},{"id":2,"camera_id":1},{"id":3,"camera_id":1})");
    EXPECT_THAT(Run(kind, R"({"id":9,"camera_id":1},{"id":2,"camera_id":1,"name":"B"},{"id":3,"camera_id":4})", true),
                ElementsAre(kind.Message(5, kind.title + " Task[2] info changed."), "update " + kind.table + " 2",
                            kind.Message(1, "Cam[4]: Load from Zr[7] failed.")));
    EXPECT_THAT(Rows("SELECT id,name FROM " + kind.table), ElementsAre("1|", "2|B", "3|"));
  }
}

TEST_F(Tasks, AreWrittenOnceWhateverTheTypes) {
  const std::string values = R"(null 0 1 7 -1 1.0 0.1 0.5 16777217 4294967297 1e300 5e-324 true false "" "5" "abc"
      "a\u0000b" [1,{"a":null}] {"key":1})";
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
      EXPECT_THAT(Run(kind, entry + "}", false, 5), IsEmpty()) << kind.section << ' ' << value;
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
    SCOPED_TRACE(kind.section);
    Run(kind, R"({"id":1,"camera_id":1},{"id":2,"camera_id":1},{"id":3,"camera_id":1})");
    Refuse("DELETE", kind.table, "OLD.id=1");
    Refuse("INSERT", kind.table, "NEW.name='no'");
    Refuse("UPDATE", kind.table, "NEW.name='no'");
    const std::string failed = "failed to execute a command on database [0]";
    EXPECT_THAT(
        Run(kind, R"({"id":3,"camera_id":1,"name":"no"},{"id":4,"camera_id":1,"name":"no"},
                             {"id":5,"camera_id":1})"),
        ElementsAre(kind.Message(5, kind.title + " Task[3] info changed."), failed,
                    kind.Message(5, "Delete Extra " + kind.title + " Task in db from ZR[7]."),
                    "failed to delete " + kind.table + " [1]",
                    kind.Message(1, "Failed to delete " + kind.title + " task[1] of slave[7] ."),
                    "delete " + kind.table + " WHERE id=2",
                    kind.Message(5, "Get a new " + kind.listed + " task from ZR[7]."), failed,
                    kind.Message(5, "Get a new " + kind.listed + " task from ZR[7]."), "insert " + kind.table + " 4"));
    Break(kind.table);
    EXPECT_THAT(Run(kind, R"({"id":1,"camera_id":1})"),
                ElementsAre(failed, kind.Message(1, "Failed to get " + kind.title + "Task list of ZR [7].")));
  }
  Break("camera");
  for (const TaskKind& kind : kinds_) {
    EXPECT_THAT(Run(kind, ""),
                ElementsAre("failed to list camera [0]", kind.Message(1, "Failed to get cam map of ZR [7].")));
  }
}

TEST_F(Tasks, MessagesNameTheirPlaces) {
  const auto run = [](auto update, const std::string& section) {
    return Messages([&] {
      const auto report = [&](const std::string& entries) { update(Parse("{\"" + section + "\":[" + entries + "]}")); };
      report(R"({"id":1,"camera_id":1,"password":"x","task_id":0})");
      report(R"({"id":1,"camera_id":1,"enable":true},{"id":2,"camera_id":3})");
      Refuse("DELETE", section == "iva_info" ? "iva_task" : "face_task");
      report("");
      Break(section == "iva_info" ? "iva_task" : "face_task");
      report("");
    });
  };
  const auto iva = [](const Json::Value& info) { Iva(info); };
  const auto face = [](const Json::Value& info) { Face(info); };
  EXPECT_THAT(
      run(iva, "iva_info"),
      ElementsAre(
          "CHANGE UpdateIvaInfo:186 Get a new IVA task from ZR[7].",
          R"(DUMP UpdateIvaInfo:187 New Task info: [{"camera_id":11,"id":0,"id_on_rec_server":1,"owner_zr_id":7,"password":"***","task_id":0}])",
          "CHANGE UpdateIvaInfo:161 Iva Task[1] info changed.",
          R"(DUMP UpdateIvaInfo:162 Original Task info: [{"camera_id":11,"id":1,"id_on_rec_server":1,"owner_zr_id":7,"password":"***","task_id":0}])",
          R"(DUMP UpdateIvaInfo:163 New      Task info: [{"camera_id":11,"enable":true,"id":1,"id_on_rec_server":1,"owner_zr_id":7}])",
          "ERR UpdateIvaInfo:131 Cam[3]: Load from Zr[7] failed.",
          "CHANGE UpdateIvaInfo:176 Delete Extra Iva Task in db from ZR[7].",
          "ERR UpdateIvaInfo:179 Failed to delete Iva task[1] of slave[7] .",
          "ERR UpdateIvaInfo:121 Failed to get IvaTask list of ZR [7]."));
  Lines places;
  for (const std::string& line : run(face, "face_info"))
    places.push_back(line.substr(0, line.find(' ', line.find(':'))));
  EXPECT_THAT(places, ElementsAre("CHANGE UpdateFaceInfo:427", "DUMP UpdateFaceInfo:428", "CHANGE UpdateFaceInfo:402",
                                  "DUMP UpdateFaceInfo:403", "DUMP UpdateFaceInfo:404", "ERR UpdateFaceInfo:371",
                                  "CHANGE UpdateFaceInfo:417", "ERR UpdateFaceInfo:420", "ERR UpdateFaceInfo:361"));
  Break("camera");
  EXPECT_THAT(Messages([&] { Iva(Parse(R"({"iva_info":[]})")), Face(Parse(R"({"face_info":[]})")); }),
              ElementsAre("ERR UpdateIvaInfo:116 Failed to get cam map of ZR [7].",
                          "ERR UpdateFaceInfo:356 Failed to get cam map of ZR [7]."));
}

}  // namespace
