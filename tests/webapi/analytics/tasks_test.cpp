#include "analyticstest.h"

namespace {

/// The two kinds run through the same scenarios.
struct TaskKind {
  std::string table, function, title, listed;
  int shift, late_shift;  ///< of the places of messages, against those of IVA tasks: up to line 150, and from there on
  const char* kept;       ///< what the dumps of the rewritten task show besides
};

struct Tasks : AnalyticsTest, testing::WithParamInterface<TaskKind> {
  Lines Run(const std::string& entries, bool update_only = false, int level = 5, int zr = 7) {
    return Journal([&] { (table_ == "iva_task" ? Iva : Face)(entries, zr, update_only); }, level);
  }
  static std::string Message(int level, int line, const std::string& text) {
    const TaskKind& kind = GetParam();
    const int shift = line < 150 ? kind.shift : kind.late_shift;
    return "log " + std::to_string(level) + " " + kind.function + ":" + std::to_string(line + shift) + " " + text;
  }
  std::string Changed(int id) const {
    return Message(5, 161, title_ + " Task[" + std::to_string(id) + "] info changed.");
  }
  std::string Insert(int id) const { return "insert " + table_ + " " + std::to_string(id); }
  std::string Update(int id) const { return "update " + table_ + " " + std::to_string(id); }
  std::string Delete(int id) const { return "delete " + table_ + " WHERE id=" + std::to_string(id); }

  const std::string table_ = GetParam().table;
  const std::string title_ = GetParam().title;
  const std::string get_new_ = Message(5, 186, "Get a new " + GetParam().listed + " task from ZR[7].");
  const std::string delete_extra_ = Message(5, 176, "Delete Extra " + title_ + " Task in db from ZR[7].");
};
INSTANTIATE_TEST_SUITE_P(, Tasks,
                         testing::Values(TaskKind{"iva_task", "UpdateIvaInfo", "Iva", "IVA", 0, 0, ""},
                                         TaskKind{"face_task", "UpdateFaceInfo", "Face", "Face", 240, 241,
                                                  R"(,"task_id":0)"}),
                         [](const auto& kind) { return kind.param.title; });

TEST_P(Tasks, FollowTheSnapshot) {
  EXPECT_THAT(Run(R"({"id":1,"camera_id":1,"name":"A"},{"id":2,"camera_id":2,"name":"B"},
                     {"id":3,"camera_id":2,"name":"C"},{"id":5,"camera_id":1})"),
              ElementsAre(get_new_, Insert(1), get_new_, Insert(2), get_new_, Insert(3), get_new_, Insert(4)));
  // Unchanged; changed; its camera is unknown, so that its copy goes; new; no longer reported.
  const std::string task = R"("id":2,"id_on_rec_server":2,"name":"B","owner_zr_id":7)" + std::string(GetParam().kept);
  const std::string added = R"("id":0,"id_on_rec_server":4,"name":"D","owner_zr_id":7)";
  EXPECT_THAT(Run(R"({"id":4,"camera_id":1,"name":"D"},{"id":2,"camera_id":1,"name":"B"},
                     {"id":1,"camera_id":1,"name":"A"},{"id":3,"camera_id":9,"name":"C"})",
                  false, 7),
              ElementsAre(Changed(2), Message(7, 162, R"(Original Task info: [{"camera_id":12,)" + task + "}]"),
                          Message(7, 163, R"(New      Task info: [{"camera_id":11,)" + task + "}]"), Update(2),
                          Message(1, 131, "Cam[9]: Load from Zr[7] failed."), delete_extra_, Delete(3), Delete(4),
                          get_new_, Message(7, 187, R"(New Task info: [{"camera_id":11,)" + added + "}]"), Insert(5)));
  EXPECT_THAT(Rows("SELECT id,owner_zr_id,id_on_rec_server,camera_id,name FROM " + table_ + " ORDER BY id"),
              ElementsAre("1|7|1|11|A", "2|7|2|11|B", "5|7|4|11|D"));

  // Another slave's list says nothing about these, nor does a list that adds and deletes nothing.
  EXPECT_THAT(Run(R"({"id":2,"camera_id":1})", false, 4, 8), ElementsAre(Insert(6)));
  EXPECT_THAT(Run(R"({"id":9,"camera_id":1},{"id":2,"camera_id":1,"name":"BB"},{"id":4,"camera_id":4})", true),
              ElementsAre(Changed(2), Update(2), Message(1, 131, "Cam[4]: Load from Zr[7] failed.")));
  const Json::Value no_lists(Json::objectValue);
  CachedCamMap cameras(7, MAP_KEY_ID_ON_REC_SERVER);
  UpdateIvaInfo(no_lists, 7, cameras, false), UpdateFaceInfo(no_lists, 7, cameras, false);
  EXPECT_THAT(Run(""), ElementsAre(delete_extra_, Delete(1), Delete(2), Delete(5)));
  EXPECT_THAT(Rows("SELECT id FROM " + table_), ElementsAre("6"));
}

TEST_P(Tasks, GoOnAfterAFailure) {
  Run(R"({"id":1,"camera_id":1},{"id":2,"camera_id":1},{"id":3,"camera_id":1})");
  Refuse("DELETE", table_, "OLD.id=1");
  Refuse("INSERT", table_, "NEW.name='no'");
  Refuse("UPDATE", table_, "NEW.name='no'");
  const std::string failed = "failed to execute a command on database [0]";
  EXPECT_THAT(Run(R"({"id":3,"camera_id":1,"name":"no"},{"id":4,"camera_id":1,"name":"no"},{"id":5,"camera_id":1})"),
              ElementsAre(Changed(3), failed, delete_extra_, "failed to delete " + table_ + " [1]",
                          Message(1, 179, "Failed to delete " + title_ + " task[1] of slave[7] ."), Delete(2), get_new_,
                          failed, get_new_, Insert(4)));
  Break(table_);
  EXPECT_THAT(Run(R"({"id":1,"camera_id":1})"),
              ElementsAre(failed, Message(1, 121, "Failed to get " + title_ + "Task list of ZR [7].")));
  Break("camera");
  EXPECT_THAT(Run(""), ElementsAre("failed to list camera [0]", Message(1, 116, "Failed to get cam map of ZR [7].")));
}

using FaceTask = AnalyticsTest;
TEST_F(FaceTask, TheTaskIdIsTheHosts) {
  const auto report = [&](const std::string& task_id, const std::string& name) {
    return Journal([&] { Face(R"({"id":1,"camera_id":1,"task_id":)" + task_id + ",\"name\":\"" + name + "\"}"); });
  };
  report("5", "A");
  EXPECT_THAT(Rows("SELECT task_id FROM face_task"), ElementsAre("0"));
  Sql("UPDATE face_task SET task_id=33");
  EXPECT_THAT(report("6", "A"), IsEmpty());
  report("6", "B");
  EXPECT_THAT(Rows("SELECT task_id,name FROM face_task"), ElementsAre("33|B"));
}

}  // namespace
