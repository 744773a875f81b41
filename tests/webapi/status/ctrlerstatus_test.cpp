/// Status of access controllers and doors.

#include "support/hosttest.h"

namespace {

struct CtrlerStatus : support::StatusTest {
  /// Controller 5 of slave 7 (1 there) with the doors 21 and 22 (1 and 2 there), and one of slave 8.
  CtrlerStatus() {
    Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server) VALUES (9,7,4);INSERT INTO axis_acs_ctrler "
        "(id,owner_zr_id,id_on_rec_server,status,mac_addr) VALUES (5,7,1,1,'00:AB'),(6,8,2,1,'');INSERT INTO axis_door "
        "(id,ctrler_id,owner_zr_id,id_on_rec_server,status) VALUES (21,5,7,1,1),(22,5,7,2,1)");
  }
  Lines Report(const std::string& ctrlers) {
    return support::Without(StatusTest::Report("{\"status\":1,\"ctrler_info\":[" + ctrlers + "]}"), "failed");
  }
  /// Reports doors of controller 5, of which nothing else has changed.
  Lines ReportDoors(const std::string& doors) {
    return Report(R"({"id":1,"status":1,"mac_addr":"00:AB","door":[)" + doors + "]}");
  }
  static Lines Doors() { return Rows("SELECT id,ctrler_id,id_on_rec_server,status,cam_id,cam_zr_id FROM axis_door"); }
};

TEST_F(CtrlerStatus, OfEqualOrUnknownOnesIsNotWritten) {
  for (const char* doors : {R"({"id":1,"status":1},{"id":2,"status":1})", R"({"id":2,"status":1},{"id":1,"status":1})",
                            R"({"id":1,"status":1},{"id":3,"status":4})"}) {
    EXPECT_THAT(ReportDoors(doors), IsEmpty()) << doors;
  }
  EXPECT_THAT(Report(R"({"id":2,"status":3},{"id":"1","status":3},{"id":99})"), IsEmpty());
  EXPECT_THAT(Report(""), IsEmpty());
}

TEST_F(CtrlerStatus, OfADoorIsWrittenAlone) {
  EXPECT_THAT(ReportDoors(R"({"id":2,"status":4},{"id":1,"status":1})"), ElementsAre("update axis_door 22"));
  EXPECT_THAT(ReportDoors(R"({"id":1,"status":"1"},{"id":2,"status":4})"), ElementsAre("update axis_door 21"));
  EXPECT_THAT(Doors(), ElementsAre("21|5|1|0|null|0", "22|5|2|4|null|0")) << "what is no integer counts as 0";
}

TEST_F(CtrlerStatus, OfAControllerIsWrittenWithItsMacAddress) {
  const auto ctrler = [] { return Rows("SELECT status,mac_addr FROM axis_acs_ctrler WHERE id=5"); };
  Report(R"({"id":1,"status":1,"mac_addr":"00:aB","door":[{"id":1,"status":1},{"id":2,"status":1}]})");
  EXPECT_THAT(ctrler(), ElementsAre("1|00:aB"));
  Report(R"({"id":1,"status":2,"mac_addr":"00:aB","door":[{"id":1,"status":1},{"id":2,"status":1}]})");
  EXPECT_THAT(ctrler(), ElementsAre("2|00:aB"));
  EXPECT_THAT(Report(R"({"id":99},{"id":1})"), ElementsAre("update axis_acs_ctrler 5"));
  EXPECT_THAT(ctrler(), ElementsAre("0|"));
}

TEST_F(CtrlerStatus, AnUnknownDoorIsAddedOnceWithItsCamera) {
  EXPECT_THAT(ReportDoors(R"({"id":1,"status":1},{"id":3,"status":6,"cam_id":4},{"id":4,"cam_id":77},{"id":4})"),
              ElementsAre("insert axis_door 23", "insert axis_door 24"));
  EXPECT_THAT(Doors(), ElementsAre("21|5|1|1|null|0", "22|5|2|1|null|0", "23|5|3|6|9|7", "24|5|4|0|null|0"));
}

TEST_F(CtrlerStatus, OfSeveralDoorsWithOneIdTheFirstCounts) {
  Sql("UPDATE axis_door SET id_on_rec_server=1, status=id");
  EXPECT_THAT(ReportDoors(R"({"id":1,"status":21},{"id":1,"status":21})"), IsEmpty());
  EXPECT_THAT(ReportDoors(R"({"id":1,"status":5},{"id":1,"status":5})"), ElementsAre("update axis_door 21"));
}

TEST_F(CtrlerStatus, AFailedSaveIsTriedAgainByTheNextReport) {
  Refuse("UPDATE", "axis_door", "NEW.id=21 AND NEW.status=4 AND OLD.status=1");
  const std::string entry =
      R"({"id":1,"status":3,"mac_addr":"00:AB","door":[{"id":1,"status":4},{"id":2,"status":4}]})";
  EXPECT_THAT(Report(entry), ElementsAre("update axis_door 22")) << "a controller is saved with its doors";
  Sql("UPDATE axis_door SET status=2 WHERE id=21");  // from here it may become 4
  EXPECT_THAT(Report(entry), ElementsAre("update axis_door 21", "update axis_acs_ctrler 5"));
}

}  // namespace
