#include "devices/devicesteps.h"
#include "recserversavers.h"
#include "support/hosttest.h"

namespace {

struct Ctrlers : support::HostTest {
  /// Cameras 1 and 2 of slave 7 are 41 and 42 on the host.
  Ctrlers() { Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server) VALUES (40,8,1),(41,7,1),(42,7,2)"); }

  Lines Update(const std::string& section, int result = 0) {
    return Journal([&] { EXPECT_EQ(result, UpdateCtrlerData(7, Parse(section))); });
  }
  static Lines Doors() {
    return Rows("SELECT id,ctrler_id,owner_zr_id,id_on_rec_server,name,cam_id,cam_zr_id FROM axis_door");
  }
  static std::string Deleted(const char* ids) {
    return std::string(R"(message 0 msgd 56 {"ids":[)") + ids +
           R"(],"origin":"","receivers":[],"settings":false,"type":1})";
  }
};

TEST_F(Ctrlers, FollowTheSnapshot) {
  Sql("INSERT INTO axis_acs_ctrler (id,owner_zr_id,id_on_rec_server) VALUES (1,8,5)");
  const std::string first = R"([
      {"id":5,"name":"A","status":1,"mac_addr":"AC","door":[{"id":11,"name":"N","cam_id":1,"status":2},{"id":12}]},
      {"id":6,"name":"B","door":[{"id":13,"cam_id":77}]},{"id":8,"name":"C","door":[{"id":14}]}])";
  EXPECT_THAT(Update(first), ElementsAre("insert axis_acs_ctrler 2", "insert axis_door 1", "insert axis_door 2",
                                         "insert axis_acs_ctrler 3", "insert axis_door 3", "insert axis_acs_ctrler 4",
                                         "insert axis_door 4"));
  EXPECT_THAT(Update(first), IsEmpty());
  // Changed with one of its doors, unchanged, gone, new. State is left to the status reports.
  EXPECT_THAT(Update(R"([{"id":6,"name":"B","door":[{"id":13,"cam_id":77}]},{"id":9,"speed":1},
      {"id":5,"name":"AA","status":3,"door":[{"id":11,"name":"N","cam_id":1,"status":4},{"id":12,"cam_id":2}]}])"),
              ElementsAre("update axis_acs_ctrler 2", "update axis_door 2", "insert axis_acs_ctrler 5",
                          "delete axis_door 4", "delete axis_acs_ctrler 4", Deleted("4")));
  EXPECT_THAT(Rows("SELECT id,owner_zr_id,id_on_rec_server,name,mac_addr,status,extra FROM axis_acs_ctrler"),
              ElementsAre("1|8|5|||0|", "2|7|5|AA|AC|1|", "3|7|6|B||0|", R"(5|7|9|||0|{"speed":1})"));
  EXPECT_THAT(Doors(), ElementsAre("1|2|7|11|N|41|7", "2|2|7|12||42|7", "3|3|7|13||null|0"));
  EXPECT_THAT(Rows("SELECT status FROM axis_door WHERE id=1"), ElementsAre("2"));
  Sql("DELETE FROM camera WHERE id=42");
  EXPECT_THAT(Rows("SELECT cam_id FROM axis_door WHERE id=2"), ElementsAre("null"));
  // A snapshot without the section.
  EXPECT_THAT(Update("null"),
              ElementsAre("delete axis_door 1", "delete axis_door 2", "delete axis_door 3", "delete axis_acs_ctrler 2",
                          "delete axis_acs_ctrler 3", "delete axis_acs_ctrler 5", Deleted("2,3,5")));
}

TEST_F(Ctrlers, DoorsArePairedByPosition) {
  Update(R"([{"id":5,"door":[{"id":11,"cam_id":1},{"id":12,"cam_id":2},{"id":13,"cam_id":2}]}])");
  // Other ids, an unknown camera, an id that is no int, a door less than the host has.
  const std::string two = R"([{"id":5,"door":[{"id":12,"cam_id":9,"name":"X"},{"id":"11","cam_id":1.0}]}])";
  EXPECT_THAT(Update(two), ElementsAre("update axis_door 1", "update axis_door 2", "update axis_door 3"));
  EXPECT_THAT(Doors(), ElementsAre("1|1|7|12|X|null|0", "2|1|7|0||41|7", "3|1|7|0||null|0"));
  EXPECT_THAT(Update(two), IsEmpty());
  // One more than the host has: its id on the slave is that of a door of the host.
  const std::string four =
      R"([{"id":5,"door":[{"id":21},{"id":22},{"id":23},{"id":1,"id_on_rec":0,"cam_id":2,"name":"new"},3]}])";
  EXPECT_THAT(Update(four),
              ElementsAre("update axis_door 1", "update axis_door 2", "update axis_door 3", "insert axis_door 4"));
  EXPECT_THAT(Doors(), ElementsAre("1|1|7|21|X|null|0", "2|1|7|22||null|0", "3|1|7|23||null|0", "4|1|7|1|new|42|7"));
  EXPECT_THAT(Update(four), IsEmpty());
}

TEST_F(Ctrlers, EntriesWithoutANumberAreTheOnesOfIdZero) {
  EXPECT_THAT(Update(R"([{"id":"5","name":"A"},{"name":"B"},null])"),
              ElementsAre("insert axis_acs_ctrler 1", "insert axis_acs_ctrler 2"));
  EXPECT_THAT(Update(R"([{"id":"6","name":"C"},{"id":null,"name":"B"}])"), ElementsAre("update axis_acs_ctrler 1"));
  EXPECT_THAT(Rows("SELECT id_on_rec_server,name FROM axis_acs_ctrler"), ElementsAre("0|C", "0|B"));
  // Doors that are no list cannot be paired: the caller hears of it.
  Update(R"([{"id":5,"door":[{"id":1}]}])");
  for (const char* document : {R"([{"id":5,"door":{"id":1}}])", R"([{"id":5,"door":[1]}])", "[5]"}) {
    EXPECT_THROW(UpdateCtrlerData(7, Parse(document)), Json::Exception) << document;
  }
}

TEST_F(Ctrlers, PairingGivesEntriesOfOneIdARowEach) {
  const Json::Value two = Parse(R"([{"id":5,"name":"A"},{"id":5,"name":"B"}])");
  const auto pair = [&] { return Journal([&] { SaveCtrlerFromRec(7, two); }); };
  EXPECT_THAT(pair(), ElementsAre("insert axis_acs_ctrler 1", "insert axis_acs_ctrler 2"));
  EXPECT_THAT(pair(), IsEmpty());
}

TEST_F(Ctrlers, OnlyAFailedListIsAFailure) {
  const std::string section = R"([{"id":5,"door":[{"id":11}]},{"id":6},{"id":8}])";
  Update(section);
  Refuse("UPDATE", "axis_door");
  Refuse("UPDATE", "axis_acs_ctrler", "NEW.id=2");
  Refuse("INSERT", "axis_door");
  Refuse("DELETE", "axis_acs_ctrler");
  // A controller and its doors are written all or none.
  EXPECT_THAT(Update(R"([{"id":5,"name":"A","door":[{"id":12}]},{"id":6,"name":"B"},{"id":9,"door":[{"id":1}]},
      {"id":10}])"),
              ElementsAre("failed to save controller [1]", "failed to save controller [2]",
                          "failed to save controller [0]", "insert axis_acs_ctrler 4", "failed to delete controllers",
                          "log 3 RemoveExtraCtrlers Failed to delete extra Ctrlers [3] on Zr [7]"));
  EXPECT_THAT(Rows("SELECT id_on_rec_server,name FROM axis_acs_ctrler"), ElementsAre("5|", "6|", "8|", "10|"));
  EXPECT_THAT(Rows("SELECT id,id_on_rec_server FROM axis_door"), ElementsAre("1|11"));
}

TEST_F(Ctrlers, AFailedListStopsTheStepAndNothingElse) {
  Update(R"([{"id":5}])");
  Sql("UPDATE camera SET owner_zr_id=8");
  Break("axis_door");
  EXPECT_THAT(Update(R"([{"id":5,"name":"A"},{"id":6}])", -1),
              ElementsAre("failed to list controllers", "log - UpdateCtrlerData Failed to get access ctrler list."));
  // The sections before and after are taken all the same.
  const Json::Value document = Parse(R"({"ctrler_info":[{"id":5,"name":"A"}],"iva_info":[],"POS_info":[{"id":1}]})");
  EXPECT_THAT(Journal([&] { EXPECT_EQ(0, SaveSlaveInfoUpdate(SlaveZR(), document, 7)); }, 0),
              testing::IsSupersetOf({"insert ctrler_action_rule 1", "insert pos 1"}));
  EXPECT_THAT(Rows("SELECT id_on_rec_server,name FROM axis_acs_ctrler"), ElementsAre("5|"));
}

TEST_F(Ctrlers, AFailedCameraMapCountsAsUnknownCameras) {
  Update(R"([{"id":5,"door":[{"id":11,"cam_id":1}]}])");
  Sql("DROP INDEX camera_by_owner_zr_id; ALTER TABLE camera DROP COLUMN owner_zr_id");
  EXPECT_THAT(Update(R"([{"id":5,"door":[{"id":11,"cam_id":1}]},{"id":6,"door":[{"id":1,"cam_id":1}]}])"),
              ElementsAre("failed to list the cameras of server [7]", "update axis_door 1",
                          "failed to import the controllers of server [7]"));
}

}  // namespace
