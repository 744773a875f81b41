#include "support/hosttest.h"

namespace {

struct DeviceStatus : support::StatusTest {
  DeviceStatus() {
    for (const std::string table : {"iomodule", "pos", "ipspeaker"}) {
      Sql("INSERT INTO " + table +
          " (id,owner_zr_id,id_on_rec_server,device_status_flags) VALUES (11,7,1,0),"
          "(12,7,2,0x20),(13,7,3,0x40),(14,8,4,0)");
    }
    Sql("INSERT INTO emap_item (emap_id,pos_id,speaker_id) VALUES (31,11,NULL),(30,12,NULL),(31,12,NULL),(32,13,NULL)");
  }
  Lines Report(const std::string& sections) { return StatusTest::Report("{\"status\":1," + sections + "}"); }
  Lines ReportAll(const std::string& entries) {
    return Report("\"speaker_info\":" + entries + ",\"POS_info\":" + entries + ",\"iomodule_info\":" + entries);
  }
  static std::string Message(const std::string& target, const std::string& ids, bool settings = true) {
    return "message 0 msgd " + target + R"(-update {"ids":[)" + ids + (settings ? R"(],"settings":false)" : "]") +
           R"(,"type":0})";
  }
};

// Changed, configuring, equal, of another slave, unknown, equal.
constexpr const char* kEntries = R"([{"id":1,"status":5},{"id":2,"status":6},{"id":3,"status":0},{"id":4,"status":7},
                                     {"id":99,"status":8},{"id":3}])";

TEST_F(DeviceStatus, WritesEachKindAtOnceAndTellsOfIt) {
  EXPECT_THAT(ReportAll(kEntries),
              ElementsAre("update iomodule 11", Message("iomodule", "11"), "update pos 11", "update pos 12",
                          Message("emap", "30,31"), Message("pos", "11,12", false), "update ipspeaker 11",
                          "update ipspeaker 12", Message("emap", ""), Message("speaker", "11,12", false)));
  EXPECT_THAT(Rows("SELECT status_on_rec_server FROM iomodule"), ElementsAre("5", "0", "0", "0"));
  EXPECT_THAT(Rows("SELECT status FROM pos"), ElementsAre("5", "6", "0", "0"));
  for (const char* entries : {kEntries, "[]", "{}"}) EXPECT_THAT(ReportAll(entries), IsEmpty());
}

TEST_F(DeviceStatus, TellsOfDevicesEvenWhenTheCommandFails) {
  Sql("UPDATE iomodule SET device_status_flags=0");
  for (const char* table : {"iomodule", "pos", "ipspeaker"}) Refuse("UPDATE", table, "NEW.id=12");
  EXPECT_THAT(
      ReportAll(kEntries),
      ElementsAre("failed to execute a command on database [0]", "log 1 BatUpdateIOMod Failed to execute command.",
                  Message("iomodule", "11,12"), "failed to execute a command on database [9]",
                  "log 1 BatUpdatePOS Failed to execute command.", Message("pos", "11,12", false),
                  "failed to execute a command on database [13]", "log 1 BatUpdateSpeaker Failed to execute command.",
                  Message("speaker", "11,12", false)));
  EXPECT_THAT(Rows("SELECT status FROM pos WHERE status<>0"), IsEmpty()) << "the whole command failed";
  EXPECT_FALSE(std::filesystem::exists(folder() / "device-cache.shm"));
}

TEST_F(DeviceStatus, GoesOnWithoutADeviceCache) {
  std::filesystem::create_directory(folder() / "device-cache.shm");
  EXPECT_THAT(Report(R"("iomodule_info":[{"id":1,"status":2}])"),
              ElementsAre("update iomodule 11", "log 1 BatUpdateIOMod Failed to get share memory CameraList.",
                          Message("iomodule", "11")));
  EXPECT_THAT(Rows("SELECT status_on_rec_server FROM iomodule WHERE id=11"), ElementsAre("2"));
}

struct CtrlerStatus : support::StatusTest {
  CtrlerStatus() {
    Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server) VALUES (9,7,4);"
        "INSERT INTO axis_acs_ctrler (id,owner_zr_id,id_on_rec_server,status,mac_addr) VALUES (5,7,1,1,'00:AB'),"
        "(6,8,2,1,'');"
        "INSERT INTO axis_door (id,ctrler_id,owner_zr_id,id_on_rec_server,status) VALUES (21,5,7,1,1),(22,5,7,2,1)");
  }
  Lines Report(const std::string& ctrlers) {
    return StatusTest::Report("{\"status\":1,\"ctrler_info\":[" + ctrlers + "]}");
  }
  static Lines Ctrler() { return Rows("SELECT status,mac_addr FROM axis_acs_ctrler WHERE id=5"); }
  static Lines Doors() {
    return Rows("SELECT id,ctrler_id,id_on_rec_server,status,cam_id,cam_zr_id FROM axis_door ORDER BY id");
  }
};

TEST_F(CtrlerStatus, SeesWhatItIsMeantToSee) {
  const std::pair<const char*, Lines> cases[] = {
      {"", {}},
      {R"({"id":1,"status":1,"mac_addr":"00:AB","door":[{"id":1,"status":1},{"id":2,"status":1}]})", {}},
      {R"({"id":2,"status":3},{"id":"1","status":3},{"id":99})", {}},  // another slave's, no integer, unknown
      // As many doors, one swapped for another: not noticed.
      {R"({"id":1,"status":1,"mac_addr":"00:AB","door":[{"id":1,"status":1},{"id":3,"status":4}]})", {}},
      {R"({"id":1,"status":1,"mac_addr":"00:AB","door":[{"id":2,"status":4},{"id":1,"status":1}]})",
       {"update axis_door 22"}},
      {R"({"id":1,"status":1,"mac_addr":"00:aB","door":[{"id":1,"status":1},{"id":2,"status":4}]})",
       {"update axis_acs_ctrler 5"}},
      {R"({"id":1,"status":1,"mac_addr":"00:aB ","door":[{"id":1,"status":"1"},{"id":2,"status":4}]})",
       {"update axis_door 21", "update axis_acs_ctrler 5"}},
      {R"({"id":1,"mac_addr":7})", {"update axis_acs_ctrler 5"}},
  };
  for (const auto& [ctrlers, expected] : cases) EXPECT_EQ(Report(ctrlers), expected) << ctrlers;
  EXPECT_THAT(Ctrler(), ElementsAre("0|"));
  EXPECT_THAT(Doors(), ElementsAre("21|5|1|0|null|0", "22|5|2|4|null|0"));
}

TEST_F(CtrlerStatus, AddsADoorWithItsController) {
  EXPECT_THAT(Report(R"({"id":1,"status":1,"mac_addr":"00:AB","door":[{"id":1,"status":1},{"id":2,"status":1},
                         {"id":3,"status":6,"name":"Gate","cam_id":4},{"id":4,"cam_id":77}]})"),
              ElementsAre("insert axis_door 23", "insert axis_door 24"));
  EXPECT_THAT(Doors(), ElementsAre("21|5|1|1|null|0", "22|5|2|1|null|0", "23|5|3|6|9|7", "24|5|4|0|null|0"));
}

TEST_F(CtrlerStatus, AFailureStaysWithWhatItConcerns) {
  Break("camera");
  EXPECT_THAT(
      Report(R"({"id":1,"status":2,"mac_addr":"00:AB","door":[{"id":1,"status":1},{"id":2,"status":1},
                         {"id":3,"cam_id":4}]})"),
      ElementsAre("failed to list the cameras of server [7]", "update axis_acs_ctrler 5", "insert axis_door 23"));
  EXPECT_THAT(Doors(), testing::Contains("23|5|3|0|null|0"));
  Sql("ALTER TABLE camera_away RENAME TO camera");
  // The controller is saved with its doors, so it waits for the door that cannot be; the other door does not.
  Refuse("UPDATE", "axis_door", "NEW.id=21");
  EXPECT_THAT(Report(R"({"id":1,"status":3,"mac_addr":"00:AB","door":[{"id":1,"status":4},{"id":2,"status":4}]})"),
              ElementsAre("failed to save door [21]", "update axis_door 22", "failed to save controller [5]"));
  EXPECT_THAT(Ctrler(), ElementsAre("2|00:AB"));
  EXPECT_THAT(Doors(), ElementsAre("21|5|1|1|null|0", "22|5|2|4|null|0", "23|5|3|0|null|0"));
}

}  // namespace
