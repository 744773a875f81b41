#include "statustest.h"

namespace {

using support::Lines;
using testing::ElementsAre;
using testing::StartsWith;

class CtrlerStatus : public StatusTest {
 protected:
  CtrlerStatus() {
    Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server) VALUES (9,7,4)");
    Sql("INSERT INTO axis_acs_ctrler (id,owner_zr_id,id_on_rec_server,status,mac_addr) VALUES (5,7,1,1,'00:AB'),"
        "(6,8,2,1,'')");
    Sql("INSERT INTO axis_door (id,ctrler_id,owner_zr_id,id_on_rec_server,status) VALUES (21,5,7,1,1),(22,5,7,2,1)");
  }
  Lines Report(const std::string& ctrlers) {
    return StatusTest::Report("{\"status\":1,\"ctrler_info\":" + ctrlers + "}");
  }
  static Lines Ctrler() { return Rows("SELECT status,mac_addr FROM axis_acs_ctrler WHERE id=5"); }
  static Lines Doors() {
    return Rows("SELECT id,ctrler_id,id_on_rec_server,status,cam_id,cam_zr_id FROM axis_door ORDER BY id");
  }
};

TEST_F(CtrlerStatus, SeesWhatItIsMeantToSee) {
  const std::pair<const char*, Lines> cases[] = {
      {R"([])", {}},
      {R"([{"id":1,"status":1,"mac_addr":"00:AB","door":[{"id":1,"status":1},{"id":2,"status":1}]}])", {}},
      {R"([{"id":2,"status":3},{"id":"1","status":3},{"id":99}])", {}},  // another slave's, no integer, unknown
      // As many doors, one swapped for another: not noticed.
      {R"([{"id":1,"status":1,"mac_addr":"00:AB","door":[{"id":1,"status":1},{"id":3,"status":4}]}])", {}},
      {R"([{"id":1,"status":1,"mac_addr":"00:AB","door":[{"id":2,"status":4},{"id":1,"status":1}]}])",
       {"update axis_door 22"}},
      {R"([{"id":1,"status":1,"mac_addr":"00:aB","door":[{"id":1,"status":1},{"id":2,"status":4}]}])",
       {"update axis_acs_ctrler 5"}},
      {R"([{"id":1,"status":1,"mac_addr":"00:aB ","door":[{"id":1,"status":"1"},{"id":2,"status":4}]}])",
       {"update axis_door 21", "update axis_acs_ctrler 5"}},
      {R"([{"id":1,"mac_addr":7}])", {"update axis_acs_ctrler 5"}},
  };
  for (const auto& [ctrlers, expected] : cases) EXPECT_EQ(Report(ctrlers), expected) << ctrlers;
  EXPECT_THAT(Ctrler(), ElementsAre("0|"));
  EXPECT_THAT(Doors(), ElementsAre("21|5|1|0|null|0", "22|5|2|4|null|0"));
}

TEST_F(CtrlerStatus, AddsADoorWithItsController) {
  EXPECT_THAT(Report(R"([{"id":1,"status":2,"mac_addr":"00:AB","door":[{"id":1,"status":1},{"id":2,"status":1},
                         {"id":3,"status":6,"name":"Gate","cam_id":4},{"id":4,"cam_id":77}]}])"),
              ElementsAre("update axis_acs_ctrler 5", "insert axis_door 23", "insert axis_door 24"));
  EXPECT_THAT(Doors(), ElementsAre("21|5|1|1|null|0", "22|5|2|1|null|0", "23|5|3|6|9|7", "24|5|4|0|null|0"));
}

TEST_F(CtrlerStatus, AFailureStaysWithWhatItConcerns) {
  Break("camera");
  EXPECT_THAT(Report(R"([{"id":1,"status":2,"mac_addr":"00:AB","door":[{"id":1,"status":1},{"id":2,"status":1},
                         {"id":3,"cam_id":4}]}])"),
              ElementsAre("failed to list camera [0]", "update axis_acs_ctrler 5", "insert axis_door 23"));
  EXPECT_THAT(Doors(), testing::Contains("23|5|3|0|null|0"));
  Sql("ALTER TABLE camera_away RENAME TO camera");
  // The controller is saved with its doors, so it waits for the door that cannot be; the other door does not.
  Refuse("UPDATE", "axis_door", "NEW.id=21");
  EXPECT_THAT(Report(R"([{"id":1,"status":3,"mac_addr":"00:AB","door":[{"id":1,"status":4},{"id":2,"status":4}]}])"),
              ElementsAre("failed to save axis_door [21]", "update axis_door 22", "update axis_acs_ctrler 5",
                          "failed to save axis_acs_ctrler [5]"));
  EXPECT_THAT(Ctrler(), ElementsAre("2|00:AB"));
  EXPECT_THAT(Doors(), ElementsAre("21|5|1|1|null|0", "22|5|2|4|null|0", "23|5|3|0|null|0"));
}

TEST_F(CtrlerStatus, TriesAgainWithTheNextReport) {
  Refuse("UPDATE", "axis_acs_ctrler");
  const std::string report = R"([{"id":1,"status":2,"mac_addr":"00:AB","door":[]}])";
  for (int i = 0; i < 2; ++i) EXPECT_THAT(Report(report), ElementsAre(StartsWith("failed to save")));
  EXPECT_THAT(Ctrler(), ElementsAre("1|00:AB"));
}

}  // namespace
