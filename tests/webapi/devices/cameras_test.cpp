#include "devices/devicesteps.h"
#include "support/hosttest.h"

namespace {

constexpr const char* kRelated = "message 0 msgd camera-related {}";

struct CamerasTest : support::HostTest {
  Lines Update(const std::string& camera_info, int level = 7) {
    return Journal([&] { EXPECT_EQ(UpdateCameraData(7, Parse(camera_info)), 0); }, level);
  }
  /// The command that tells of the cameras.
  static std::string Listed(const std::string& enabled, const std::string& disabled = "") {
    return R"(message 7 qvactruled compound {"source":[{"id":")" + enabled + R"(","srcType":0,"status":1})" +
           (disabled.empty() ? "" : R"(,{"id":")" + disabled + R"(","srcType":0,"status":2})") + "]}";
  }
  /// Four cameras of slave 7, with the host ids 1 to 4, and one of slave 8.
  void HoldCameras() {
    Sql("INSERT INTO camera (owner_zr_id,id_on_rec_server,name,motion_event_type) VALUES (7,11,'A',9),(7,12,'B',9),"
        "(7,13,'C',9),(7,14,'D',9),(8,11,'other slave',9)");
  }
};

TEST_F(CamerasTest, FollowTheSnapshot) {
  HoldCameras();
  Sql("INSERT INTO edge_storage_settings (owner_zr_id,camera_id,size,format) VALUES (7,2,64,''),(7,3,64,'a')");
  // Changed, new and disabled, unchanged (a text ends at a NUL); the last two are gone.
  EXPECT_THAT(
      Update(R"([{"id":12,"name":"BB","edgeStorage":{"size":64,"status":2}},
                         {"id":15,"name":"E","enabled":false,"edgeStorage":{"size":32,"format":"b\u0000b"}},
                         {"id":13,"name":"C","edgeStorage":{"size":64.0,"format":"a\u0000b"}}])"),
      ElementsAre("log 4 UpdateCameraData Update cam [2] on ZR [7].", "update camera 2",
                  "log 4 UpdateCamEdgeData Add edge settings of cam [2] from ZR [7].", "update edge_storage_settings 1",
                  "insert camera 6", "log 4 UpdateCameraData Add cam [6] from ZR [7].",
                  "log 4 UpdateCamEdgeData Update edge settings of cam [6] from ZR [7].",
                  "insert edge_storage_settings 3", kRelated, Listed("2,3", "6"),
                  "log 3 RemoveExtraCams Remove extra cameras [1,4] on ZR [7].", "delete camera 1", "delete camera 4"));
  EXPECT_THAT(Rows("SELECT id,owner_zr_id,id_on_rec_server,name,motion_event_type FROM camera"),
              ElementsAre("2|7|12|BB|9", "3|7|13|C|9", "5|8|11|other slave|9", "6|7|15|E|0"));
  EXPECT_THAT(Rows("SELECT camera_id,owner_zr_id,size,status,format FROM edge_storage_settings"),
              ElementsAre("2|7|64|2|", "3|7|64|0|a", "6|7|32|0|b"));
}

TEST_F(CamerasTest, LeaveACameraAloneThatIsBeingConfigured) {
  HoldCameras();
  Sql("UPDATE camera SET device_status_flags=37 WHERE id<3");
  EXPECT_THAT(Update(R"([{"id":11,"name":"new","enabled":false,"edgeStorage":{"size":8}},{"id":12,"name":"B"},
                         {"id":13},{"id":14}])"),
              ElementsAre("log 5 UpdateCameraData Skip to update cam [1] on ZR [7] due configuring.",
                          "log 4 UpdateCamEdgeData Update edge settings of cam [1] from ZR [7].",
                          "insert edge_storage_settings 1", kRelated, Listed("1,2,3,4")))
      << "it is listed as the host has it";
  EXPECT_THAT(Rows("SELECT name,enabled FROM camera WHERE id=1"), ElementsAre("A|1"));
}

TEST_F(CamerasTest, AllGoWhenNoneAreReported) {
  HoldCameras();
  EXPECT_THAT(Update("null"), ElementsAre(kRelated, "message 7 qvactruled compound null",
                                          "log 3 RemoveExtraCams Remove extra cameras [1,2,3,4] on ZR [7].",
                                          "delete camera 1", "delete camera 2", "delete camera 3", "delete camera 4"));
}

TEST_F(CamerasTest, MatchEachRowOnce) {
  EXPECT_THAT(Update(R"([{"id":5,"name":"a"},{"id":5,"name":"b"},{"name":"no id"},null])", 3),
              ElementsAre("insert camera 1", "insert camera 2", "insert camera 3", "insert camera 4", kRelated,
                          Listed("1,2,3,4")));
  EXPECT_EQ(Update(R"([{"id":5,"name":"a"},{"id":5,"name":"c"},{"name":"no id"},null])", 3)[0], "update camera 2");
  EXPECT_THAT(Update(R"([{"id":5,"name":"b"}])", 3),
              ElementsAre("update camera 1", kRelated, Listed("1"),
                          "log 3 RemoveExtraCams Remove extra cameras [2,3,4] on ZR [7].", "delete camera 2",
                          "delete camera 3", "delete camera 4"));
}

TEST_F(CamerasTest, GoOnAfterFailures) {
  HoldCameras();
  Refuse("DELETE", "camera", "OLD.id=2");
  Refuse("UPDATE", "camera", "OLD.id=4");
  Break("layout_item");
  EXPECT_THAT(
      Update(R"([{"id":14,"name":"DD"}])", 4),
      ElementsAre("log 4 UpdateCameraData Update cam [4] on ZR [7].", "failed to save camera [4]", kRelated,
                  Listed("4"), "log 3 RemoveExtraCams Remove extra cameras [1,2,3] on ZR [7].", "delete camera 1",
                  "failed to clean up after camera [1]", "log 1 RemoveExtraCams Failed to sync related tables.",
                  "failed to delete camera [2]", "log 1 RemoveExtraCams Failed while delete camera [2].",
                  "delete camera 3", "failed to clean up after camera [3]",
                  "log 1 RemoveExtraCams Failed to sync related tables."));

  Break("edge_storage_settings");
  EXPECT_THAT(Update(R"([{"id":14,"edgeStorage":{}},{"id":12}])", 1),
              ElementsAre("failed to execute a command on database [0]", "log - LoadCamEdgeMap Execute sql failed.",
                          "failed to save edge storage settings [0]", kRelated, Listed("4,2")));

  Break("camera");
  EXPECT_THAT(Update(R"([{"id":14,"name":"DD"}])", 4),
              ElementsAre("failed to list cameras", "failed to execute a command on database [0]",
                          "log - LoadCamEdgeMap Execute sql failed.", "failed to save camera [0]",
                          "log 4 UpdateCameraData Add cam [0] from ZR [7].", kRelated, Listed("0")))
      << "what cannot be listed is not removed";
}

}  // namespace
