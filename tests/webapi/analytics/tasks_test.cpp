/// IVA tasks and face tasks. The line of each message is part of its contract.

#include "analytics/analyticssteps.h"
#include "camera.h"
#include "support/hosttest.h"

namespace {

using support::Lines;
using support::Without;

struct Kind {
  std::string table;
  void (*step)(const Json::Value&, int, CachedCamMap&, bool);
  std::string section;
  /// Task 2 has changed its camera, task 3 names an unknown one, task 4 is new, task 5 is gone and cannot be deleted.
  Lines followed;
  const char *unlisted_tasks, *unlisted_cameras;
};
void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.table; }

const Kind kKinds[] = {
    {"iva_task",
     UpdateIvaInfo,
     "iva_info",
     {"log 5 UpdateIvaInfo:161 Iva Task[2] info changed.",
      R"(log 7 UpdateIvaInfo:162 Original Task info: [{"camera_id":12,"id":2,"id_on_rec_server":2,"name":"B",)"
      R"("owner_zr_id":7}])",
      R"(log 7 UpdateIvaInfo:163 New      Task info: [{"camera_id":11,"id":2,"id_on_rec_server":2,"name":"B",)"
      R"("owner_zr_id":7}])",
      "update iva_task 2", "log 1 UpdateIvaInfo:131 Cam[9]: Load from Zr[7] failed.",
      "log 5 UpdateIvaInfo:176 Delete Extra Iva Task in db from ZR[7].", "delete iva_task 3",
      "log 1 UpdateIvaInfo:179 Failed to delete Iva task[4] of slave[7] .",
      "log 5 UpdateIvaInfo:186 Get a new IVA task from ZR[7].",
      R"(log 7 UpdateIvaInfo:187 New Task info: [{"camera_id":11,"id":0,"id_on_rec_server":4,"name":"D",)"
      R"("owner_zr_id":7}])",
      "insert iva_task 5"},
     "log 1 UpdateIvaInfo:121 Failed to get IvaTask list of ZR [7].",
     "log 1 UpdateIvaInfo:116 Failed to get cam map of ZR [7]."},
    {"face_task",
     UpdateFaceInfo,
     "face_info",
     {"log 5 UpdateFaceInfo:402 Face Task[2] info changed.",
      R"(log 7 UpdateFaceInfo:403 Original Task info: [{"camera_id":12,"id":2,"id_on_rec_server":2,"name":"B",)"
      R"("owner_zr_id":7,"task_id":0}])",
      R"(log 7 UpdateFaceInfo:404 New      Task info: [{"camera_id":11,"id":2,"id_on_rec_server":2,"name":"B",)"
      R"("owner_zr_id":7,"task_id":0}])",
      "update face_task 2", "log 1 UpdateFaceInfo:371 Cam[9]: Load from Zr[7] failed.",
      "log 5 UpdateFaceInfo:417 Delete Extra Face Task in db from ZR[7].", "delete face_task 3",
      "log 1 UpdateFaceInfo:420 Failed to delete Face task[4] of slave[7] .",
      "log 5 UpdateFaceInfo:427 Get a new Face task from ZR[7].",
      R"(log 7 UpdateFaceInfo:428 New Task info: [{"camera_id":11,"id":0,"id_on_rec_server":4,"name":"D",)"
      R"("owner_zr_id":7}])",
      "insert face_task 5"},
     "log 1 UpdateFaceInfo:361 Failed to get FaceTask list of ZR [7].",
     "log 1 UpdateFaceInfo:356 Failed to get cam map of ZR [7]."}};

struct Tasks : support::HostTest, testing::WithParamInterface<Kind> {
  Tasks() { Sql("INSERT INTO camera (id,id_on_rec_server,owner_zr_id) VALUES (11,1,7),(12,2,7),(21,1,8)"); }
  static Lines Run(const std::string& tasks, bool update_only = false, int zr = 7) {
    CachedCamMap cameras(zr, MAP_KEY_ID_ON_REC_SERVER);
    const Json::Value document = Parse("{\"" + GetParam().section + "\":" + tasks + "}");
    return Without(Journal([&] { GetParam().step(document, zr, cameras, update_only); }), "failed");
  }
  static Lines Stored() {
    return Rows("SELECT id,owner_zr_id,id_on_rec_server,camera_id,name FROM " + GetParam().table + " ORDER BY id");
  }
  const std::string table_ = GetParam().table;
};
INSTANTIATE_TEST_SUITE_P(, Tasks, testing::ValuesIn(kKinds), [](const auto& kind) { return kind.param.table; });

TEST_P(Tasks, FollowTheSnapshot) {
  Run(R"([{"id":1,"camera_id":1,"name":"A"},{"id":2,"camera_id":2,"name":"B"},{"id":3,"camera_id":2},
          {"id":5,"camera_id":1}])");
  Refuse("DELETE", table_, "OLD.id=4");
  EXPECT_EQ(Run(R"([{"id":4,"camera_id":1,"name":"D"},{"id":2,"camera_id":1,"name":"B"},{"id":3,"camera_id":9},
                    {"id":1,"camera_id":1,"name":"A"}])"),
            GetParam().followed);
  EXPECT_THAT(Stored(), ElementsAre("1|7|1|11|A", "2|7|2|11|B", "4|7|5|11|", "5|7|4|11|D"));
}

TEST_P(Tasks, OfASlaveGoWhenItsListIsNullAndStayWithoutAList) {
  Run(R"([{"id":1,"camera_id":1}])");
  Run(R"([{"id":1,"camera_id":1,"name":"other"}])", false, 8);
  CachedCamMap cameras(7, MAP_KEY_ID_ON_REC_SERVER);
  GetParam().step(Parse("{}"), 7, cameras, false);
  EXPECT_THAT(Stored(), ElementsAre("1|7|1|11|", "2|8|1|21|other"));
  Run("null");
  EXPECT_THAT(Stored(), ElementsAre("2|8|1|21|other"));
}

TEST_P(Tasks, AreUpdatedButNotAddedOrDeletedByAReport) {
  Run(R"([{"id":1,"camera_id":1,"name":"A"},{"id":2,"camera_id":2,"name":"B"}])");
  EXPECT_THAT(Without(Run(R"([{"id":9,"camera_id":1},{"id":2,"camera_id":2,"name":"BB"}])", true), "log"),
              ElementsAre("update " + table_ + " 2"));
}

TEST_P(Tasks, KeepMembersThatTheHostDoesNotKnow) {
  Run(R"([{"id":1,"camera_id":1,"zoom":[1],"none":null}])");
  EXPECT_THAT(
      Rows("SELECT extra FROM " + table_),
      ElementsAre(testing::AllOf(testing::HasSubstr("\"zoom\":[1]"), testing::Not(testing::HasSubstr("none")))));
}

TEST_P(Tasks, GoOnAfterATaskThatCannotBeSaved) {
  Run(R"([{"id":1,"camera_id":1},{"id":2,"camera_id":1}])");
  Refuse("INSERT", table_, "NEW.name='no'");
  Refuse("UPDATE", table_, "NEW.name='no'");
  Run(R"([{"id":1,"camera_id":1,"name":"no"},{"id":2,"camera_id":1,"name":"yes"},
          {"id":4,"camera_id":1,"name":"no"},{"id":5,"camera_id":1,"name":"yes"}])");
  EXPECT_THAT(Stored(), ElementsAre("1|7|1|11|", "2|7|2|11|yes", "3|7|5|11|yes"));
}

TEST_P(Tasks, AreLeftAloneWhenTheyOrTheCamerasCannotBeListed) {
  Break(table_);
  EXPECT_THAT(Run(R"([{"id":1,"camera_id":1}])"), ElementsAre(GetParam().unlisted_tasks));
  Break("camera");
  EXPECT_THAT(Run("[]"), ElementsAre(GetParam().unlisted_cameras));
}

}  // namespace
