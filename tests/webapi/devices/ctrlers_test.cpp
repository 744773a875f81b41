#include "devices/ctrlers.h"

#include "axisacsctrler.h"
#include "qvwebapicmssyncutils.h"
#include "recserversavers.h"
#include "slavezr.h"
#include "support/hosttest.h"

namespace {

using support::Lines;
using support::Parse;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kDoors = "SELECT id,ctrler_id,owner_zr_id,id_on_rec_server,name,cam_id,cam_zr_id FROM axis_door";

class Ctrlers : public support::HostTest {
 protected:
  /// Cameras 1 and 2 of slave 7 are 41 and 42 on the host.
  Ctrlers() { Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server) VALUES (40,8,1),(41,7,1),(42,7,2)"); }

  Lines Update(const std::string& section, int result = 0) {
    const Json::Value document = Parse(section);
    const Json::Value before = document;
    Lines lines = Journal([&] { EXPECT_EQ(result, UpdateCtrlerData(7, document)); });
    EXPECT_EQ(before, document);
    return lines;
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
                          "delete axis_door WHERE ctrler_id IN (4)", "delete axis_acs_ctrler WHERE id IN (4)",
                          R"(message 0 msgd 56 {"ids":[4],"origin":"","receivers":[],"settings":false,"type":1})"));
  EXPECT_THAT(Rows("SELECT id,owner_zr_id,id_on_rec_server,name,mac_addr,status,extra FROM axis_acs_ctrler"),
              ElementsAre("1|8|5|||0|", "2|7|5|AA|AC|1|", "3|7|6|B||0|", R"(5|7|9|||0|{"speed":1})"));
  EXPECT_THAT(Rows(kDoors), ElementsAre("1|2|7|11|N|41|7", "2|2|7|12||42|7", "3|3|7|13||null|0"));
  EXPECT_THAT(Rows("SELECT status FROM axis_door WHERE id=1"), ElementsAre("2"));
  Sql("DELETE FROM camera WHERE id=42");
  EXPECT_THAT(Rows("SELECT cam_id FROM axis_door WHERE id=2"), ElementsAre("null"));
  // A snapshot without the section.
  EXPECT_THAT(
      Update("null"),
      ElementsAre("delete axis_door WHERE ctrler_id IN (2,3,5,5)", "delete axis_acs_ctrler WHERE id IN (2,3,5,5)",
                  R"(message 0 msgd 56 {"ids":[2,3,5],"origin":"","receivers":[],"settings":false,"type":1})"));
}

TEST_F(Ctrlers, DoorsArePairedByPosition) {
  Update(R"([{"id":5,"door":[{"id":11,"cam_id":1},{"id":12,"cam_id":2},{"id":13,"cam_id":2}]}])");
  // Other ids, an unknown camera, an id that is no int, a door less than the host has.
  const std::string two = R"([{"id":5,"door":[{"id":12,"cam_id":9,"name":"X"},{"id":"11","cam_id":1.0}]}])";
  EXPECT_THAT(Update(two), ElementsAre("update axis_door 1", "update axis_door 2", "update axis_door 3"));
  EXPECT_THAT(Rows(kDoors), ElementsAre("1|1|7|12|X|null|0", "2|1|7|0||41|7", "3|1|7|0||null|0"));
  EXPECT_THAT(Update(two), IsEmpty());
  // One more than the host has: its id on the slave is that of a door of the host.
  const std::string four =
      R"([{"id":5,"door":[{"id":21},{"id":22},{"id":23},{"id":1,"id_on_rec":0,"cam_id":2,"name":"new"},3]}])";
  EXPECT_THAT(Update(four),
              ElementsAre("update axis_door 1", "update axis_door 2", "update axis_door 3", "insert axis_door 4"));
  EXPECT_THAT(Rows(kDoors),
              ElementsAre("1|1|7|21|X|null|0", "2|1|7|22||null|0", "3|1|7|23||null|0", "4|1|7|1|new|42|7"));
  EXPECT_THAT(Update(four), IsEmpty());
}

TEST_F(Ctrlers, EntriesWithoutANumberAreTheOnesOfIdZero) {
  EXPECT_THAT(Update(R"([{"id":"5","name":"A"},{"name":"B"},null])"),
              ElementsAre("insert axis_acs_ctrler 1", "insert axis_acs_ctrler 2"));
  EXPECT_THAT(Update(R"([{"id":"6","name":"C"},{"id":null,"name":"B"}])"), ElementsAre("update axis_acs_ctrler 1"));
  EXPECT_THAT(Rows("SELECT id_on_rec_server,name FROM axis_acs_ctrler"), ElementsAre("0|C", "0|B"));
  // Doors that are no list cannot be paired: the caller hears of it.
  Update(R"([{"id":5,"door":[{"id":1}]}])");
  EXPECT_THROW(UpdateCtrlerData(7, Parse(R"([{"id":5,"door":{"id":1}}])")), Json::Exception);
  EXPECT_THROW(UpdateCtrlerData(7, Parse(R"([{"id":5,"door":[1]}])")), Json::Exception);
  EXPECT_THROW(UpdateCtrlerData(7, Parse("[5]")), Json::Exception);
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
              ElementsAre("update axis_acs_ctrler 1", "failed to save axis_acs_ctrler [1]",
                          "failed to save axis_acs_ctrler [2]", "insert axis_acs_ctrler 4",
                          "failed to save axis_acs_ctrler [0]", "insert axis_acs_ctrler 4",
                          "failed to delete axis_acs_ctrler [0]",
                          "log 3 RemoveExtraCtrlers Failed to delete extra Ctrlers [3] on Zr [7]"));
  EXPECT_THAT(Rows("SELECT id,id_on_rec_server,name FROM axis_acs_ctrler"),
              ElementsAre("1|5|", "2|6|", "3|8|", "4|10|"));
  EXPECT_THAT(Rows("SELECT id,id_on_rec_server FROM axis_door"), ElementsAre("1|11"));
}

TEST_F(Ctrlers, AFailedListStopsTheStepAndNothingElse) {
  Update(R"([{"id":5}])");
  Sql("UPDATE camera SET owner_zr_id=8");
  Break("axis_door");
  EXPECT_THAT(
      Update(R"([{"id":5,"name":"A"},{"id":6}])", -1),
      ElementsAre("failed to list axis_acs_ctrler [0]", "log - UpdateCtrlerData Failed to get access ctrler list."));
  // With nothing let through but failures, and sections before and after.
  const Json::Value document = Parse(R"({"ctrler_info":[{"id":5,"name":"A"}],"iomodule_info":[{"id":1}],
      "iva_info":[],"POS_info":[{"id":1}]})");
  EXPECT_THAT(Journal([&] { EXPECT_EQ(0, SaveSlaveInfoUpdate(SlaveZR(), document, 7)); }, 0),
              testing::IsSupersetOf({"insert ctrler_action_rule 1", "insert iomodule 1", "insert pos 1",
                                     "log - UpdateCtrlerData Failed to get access ctrler list."}));
  EXPECT_THAT(Rows("SELECT id_on_rec_server,name FROM axis_acs_ctrler"), ElementsAre("5|"));
}

TEST_F(Ctrlers, AFailedCameraMapCountsAsUnknownCameras) {
  Update(R"([{"id":5,"door":[{"id":11,"cam_id":1}]}])");
  Sql("DROP INDEX camera_by_owner_zr_id; ALTER TABLE camera DROP COLUMN owner_zr_id");
  EXPECT_THAT(Update(R"([{"id":5,"door":[{"id":11,"cam_id":1}]},{"id":6,"door":[{"id":1,"cam_id":1}]}])"),
              ElementsAre("failed to list camera [0]", "update axis_door 1",
                          "failed to import the section of axis_acs_ctrler [7]"));
}

TEST_F(Ctrlers, TheSnapshotAfterPairingFindsNothingToWrite) {
  const std::string paired = R"([{"id":5,"name":"A","password":"p","door":[{"id":11,"cam_id":1},{"id":12,"cam_id":9}]},
      {"id":6,"door":[{"id":11,"id_on_rec":4,"cam_id":2,"new_key":true}]}])";
  const std::string again =
      R"([{"id":6,"name":"B","door":[{"id":15},{"id":11}]},{"id":5,"door":[{"id":12,"cam_id":2}]}])";
  for (const std::string& section : {paired, again}) {
    const auto pair = [&] { EXPECT_EQ(0, SaveCtrlerFromRec(7, Parse(section))); };
    EXPECT_THAT(Journal(pair), testing::Not(IsEmpty()));
    EXPECT_THAT(Journal(pair), IsEmpty());
    EXPECT_THAT(Update(section), IsEmpty());
  }
  EXPECT_THAT(Rows("SELECT id,owner_zr_id,id_on_rec_server,name,password FROM axis_acs_ctrler"),
              ElementsAre("1|7|5|A|p", "2|7|6|B|"));
  EXPECT_THAT(Rows(kDoors), ElementsAre("1|1|7|12||42|7", "2|1|7|0||null|0", "3|2|7|15||null|0", "4|2|7|11||null|0"));
}

TEST_F(Ctrlers, AreSavedWithTheirDoorsByAStatusReport) {
  Update(R"([{"id":5,"door":[{"id":11}]}])");
  AxisAcsCtrler ctrler = GetCtrlerMapOnRec(7).at(5);
  std::list<AxisDoor> doors = ctrler.GetDoorList();
  AxisDoor door;
  EXPECT_EQ(0, door.SetByJson(Json::Value(1)));
  EXPECT_NE(0, door.SetByJson(Parse(R"({"id":0,"id_on_rec":12,"status":3,"cam_id":41,"cam_zr_id":7})")));
  EXPECT_EQ(-1, door.Save());
  doors.push_back(door);
  doors.front().SetStatus(2);
  EXPECT_EQ(0, doors.front().Save());
  ctrler.SetDoorList(doors);
  ctrler.SetStatus(ACSCTRL_STATUS_CONNECTED);
  const auto save = [&] { EXPECT_EQ(0, ctrler.Save()); };
  EXPECT_THAT(Journal(save), ElementsAre("update axis_acs_ctrler 1", "insert axis_door 2"));
  EXPECT_THAT(Journal(save), IsEmpty());
  EXPECT_THAT(Rows("SELECT id,ctrler_id,owner_zr_id,status,cam_id FROM axis_door"),
              ElementsAre("1|1|7|2|null", "2|1|7|3|41"));
  // A list without a door takes no door away.
  ctrler.SetDoorList({});
  EXPECT_THAT(Journal(save), IsEmpty());
  std::unordered_map<int, int> servers{{9, 9}};
  EXPECT_EQ(0, GetDoorZrIdMap(servers));
  EXPECT_THAT(servers, testing::UnorderedElementsAre(std::pair(1, 7), std::pair(2, 7)));
  Break("axis_door");
  EXPECT_EQ(-1, GetDoorZrIdMap(servers));
  EXPECT_THAT(GetCtrlerMapOnRec(7), IsEmpty());
}

TEST_F(Ctrlers, TheRuleSelects) {
  Sql("INSERT INTO axis_acs_ctrler (id,owner_zr_id,name,host,status,enabled,device_status_flags) VALUES "
      "(1,0,'North','b',1,1,0),(2,7,'East','a',2,0,3),(3,7,'West','c',1,1,2);"
      "INSERT INTO axis_door (id,ctrler_id,cam_id) VALUES (1,2,41),(2,3,42),(3,3,null)");
  const auto listed = [](auto&& change) {
    AxisAcsCtrlerFilterRule rule;
    change(rule);
    std::list<AxisAcsCtrler> list;
    EXPECT_EQ(0, GetAcsCtrlerListByRule(rule, list));
    std::string text;
    for (const AxisAcsCtrler& ctrler : list) {
      text += std::to_string(ctrler.GetId()) + ":" + std::to_string(ctrler.GetDoorList().size()) + " ";
    }
    return text;
  };
  using Rule = AxisAcsCtrlerFilterRule;
  EXPECT_EQ("1:0 2:1 3:2 ", listed([](Rule&) {}));
  EXPECT_EQ("1:0 2:0 3:0 ", listed([](Rule& r) { r.withDoors = false; }));
  EXPECT_EQ("1:0 3:2 ", listed([](Rule& r) { r.enabledOnly = true; }));
  EXPECT_EQ("1:0 ", listed([](Rule& r) { r.hostLocalOnly = true; }));
  EXPECT_EQ("2:1 1:0 ", listed([](Rule& r) { r.order = ACS_CTRLER_ORDER_HOST, r.limit = 2; }));
  EXPECT_EQ("1:0 2:1 ", listed([](Rule& r) { r.order = ACS_CTRLER_ORDER_NAME, r.descending = true, r.start = 1; }));
  EXPECT_EQ("2:1 3:2 ", listed([](Rule& r) { r.statusFlags = 2; }));
  EXPECT_EQ("3:2 ", listed([](Rule& r) { r.minDoors = 2; }));
  EXPECT_EQ("3:2 ", listed([](Rule& r) { r.statuses = {1}, r.ownerZrIds = {7, 9}; }));
  EXPECT_EQ("2:1 ", listed([](Rule& r) { r.doorIds = {1, 9}; }));
  EXPECT_EQ("3:2 ", listed([](Rule& r) { r.cameraIds = {42, 40}; }));
  EXPECT_EQ("3:2 ", listed([](Rule& r) { r.keyword = "est", r.ids = {2, 3}; }));
}

}  // namespace
