#include "devices/devicesteps.h"
#include "support/hosttest.h"

namespace {

constexpr const char* kRelated = "message 0 msgd camera-related {}";

struct Cameras : support::HostTest {
  /// Four cameras of slave 7, with the host ids 1 to 4, and one of slave 8.
  Cameras() {
    Sql("INSERT INTO camera (owner_zr_id,id_on_rec_server,name,motion_event_type) VALUES "
        "(7,11,'A',9),(7,12,'B',9),(7,13,'C',9),(7,14,'D',9),(8,11,'other slave',9)");
  }
  static Lines Update(const std::string& camera_info) {
    return support::Without(Journal([&] { EXPECT_EQ(UpdateCameraData(7, Parse(camera_info)), 0); }), "failed");
  }
  static Lines Edges() { return Rows("SELECT id,camera_id,owner_zr_id,size,format FROM edge_storage_settings"); }
};

TEST_F(Cameras, FollowTheSnapshot) {
  EXPECT_THAT(
      Update(R"([{"id":12,"name":"BB"},{"id":15,"name":"E"},{"id":13,"name":"C"}])"),
      ElementsAre("log 4 UpdateCameraData Update cam [2] on ZR [7].", "update camera 2", "insert camera 6",
                  "log 4 UpdateCameraData Add cam [6] from ZR [7].", kRelated,
                  R"(message 7 qvactruled compound {"source":[{"id":"2,6,3","srcType":0,"status":1}]})",
                  "log 3 RemoveExtraCams Remove extra cameras [1,4] on ZR [7].", "delete camera 1", "delete camera 4"));
  EXPECT_THAT(Rows("SELECT id,owner_zr_id,id_on_rec_server,name,motion_event_type FROM camera"),
              ElementsAre("2|7|12|BB|9", "3|7|13|C|9", "5|8|11|other slave|9", "6|7|15|E|0"));
}

TEST_F(Cameras, AreListedByWhetherTheyAreEnabledNow) {
  EXPECT_THAT(Update(R"([{"id":11},{"id":12,"enabled":false},{"id":15,"enabled":false},{"id":13},{"id":14}])"),
              testing::Contains(R"(message 7 qvactruled compound {"source":[{"id":"1,3,4","srcType":0,"status":1},)"
                                R"({"id":"2,6","srcType":0,"status":2}]})"));
}

TEST_F(Cameras, AreNotOverwrittenWhileTheyAreConfigured) {
  Sql("UPDATE camera SET device_status_flags=37 WHERE id<3");
  EXPECT_THAT(
      Update(R"([{"id":11,"enabled":false,"edgeStorage":{"size":8}},{"id":12,"name":"B"},{"id":13},{"id":14}])"),
      ElementsAre("log 5 UpdateCameraData Skip to update cam [1] on ZR [7] due configuring.",
                  "log 4 UpdateCamEdgeData Update edge settings of cam [1] from ZR [7].",
                  "insert edge_storage_settings 1", kRelated,
                  R"(message 7 qvactruled compound {"source":[{"id":"1,2,3,4","srcType":0,"status":1}]})"));
}

TEST_F(Cameras, AllGoWhenNoneAreReported) {
  EXPECT_THAT(support::Only(Update("null"), "message"), ElementsAre(kRelated, "message 7 qvactruled compound null"));
  EXPECT_THAT(Rows("SELECT name FROM camera"), ElementsAre("other slave"));
}

TEST_F(Cameras, GoOnAfterFailures) {
  Refuse("DELETE", "camera", "OLD.id=2");
  Refuse("UPDATE", "camera", "OLD.id=4");
  Break("layout_item");
  EXPECT_THAT(Update(R"([{"id":14,"name":"DD"}])"),
              ElementsAre("log 4 UpdateCameraData Update cam [4] on ZR [7].", kRelated,
                          R"(message 7 qvactruled compound {"source":[{"id":"4","srcType":0,"status":1}]})",
                          "log 3 RemoveExtraCams Remove extra cameras [1,2,3] on ZR [7].", "delete camera 1",
                          "log 1 RemoveExtraCams Failed to sync related tables.",
                          "log 1 RemoveExtraCams Failed while delete camera [2].", "delete camera 3",
                          "log 1 RemoveExtraCams Failed to sync related tables."));
}

TEST_F(Cameras, ThatCannotBeListedAreAddedAndNotRemoved) {
  Break("edge_storage_settings");
  Break("camera");
  EXPECT_THAT(Update(R"([{"id":14}])"),
              ElementsAre("log - LoadCamEdgeMap Execute sql failed.", "log 4 UpdateCameraData Add cam [0] from ZR [7].",
                          kRelated, R"(message 7 qvactruled compound {"source":[{"id":"0","srcType":0,"status":1}]})"));
}

TEST_F(Cameras, BringTheirEdgeStorage) {
  Sql("INSERT INTO edge_storage_settings (owner_zr_id,camera_id,size,format) VALUES "
      "(7,2,64,'a'),(7,3,64,'a'),(7,2,32,'second row')");
  // New, changed, equal (a text ends at a NUL), null.
  EXPECT_THAT(support::Only(Update(R"([{"id":11,"edgeStorage":{"size":16}},{"id":12,"edgeStorage":{"size":32}},
                  {"id":13,"edgeStorage":{"size":64.0,"format":"a\u0000b"}},{"id":14,"edgeStorage":null}])"),
                            "log 4"),
              ElementsAre("log 4 UpdateCamEdgeData Update edge settings of cam [1] from ZR [7].",
                          "log 4 UpdateCamEdgeData Add edge settings of cam [2] from ZR [7].",
                          "log 4 UpdateCamEdgeData Update edge settings of cam [4] from ZR [7]."));
  EXPECT_THAT(Edges(), ElementsAre("1|2|7|32|a", "2|3|7|64|a", "3|2|7|32|second row", "4|1|7|16|", "5|4|7|0|"));
}

struct GroupsDigits : std::numpunct<char> {
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST_F(Cameras, IdsAreWrittenInPlainDecimalWhateverTheLocale) {
  Sql("UPDATE camera SET owner_zr_id=7000 WHERE owner_zr_id=7; UPDATE camera SET id=1000+id WHERE id<3;INSERT INTO "
      "edge_storage_settings (owner_zr_id,camera_id,size) VALUES (7000,1001,16)");
  const std::locale usual = std::locale::global(std::locale(std::locale(), new GroupsDigits));
  const Lines lines = Journal([&] { UpdateCameraData(7000, Parse(R"([{"id":11,"edgeStorage":{"size":16}}])")); });
  std::locale::global(usual);
  EXPECT_THAT(lines, testing::Contains("log 3 RemoveExtraCams Remove extra cameras [3,4,1002] on ZR [7000]."));
  EXPECT_THAT(lines, testing::Not(testing::Contains(testing::HasSubstr("edge"))));
}

}  // namespace
