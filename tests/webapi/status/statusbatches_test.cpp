/// Status of I/O modules, POS terminals and speakers.

#include "support/hosttest.h"

namespace {

struct StatusBatches : support::StatusTest {
  /// Of each kind three devices of slave 7, the second one being configured, and one of slave 8.
  StatusBatches() {
    for (const std::string table : {"iomodule", "pos", "ipspeaker"}) {
      Sql("INSERT INTO " + table +
          " (id,owner_zr_id,id_on_rec_server,enabled,device_status_flags) VALUES "
          "(11,7,1,1,0),(12,7,2,0,32),(13,7,3,1,64),(14,8,4,1,0)");
    }
    Sql("INSERT INTO emap_item (emap_id,pos_id) VALUES (31,11),(30,12),(31,12),(32,13)");
  }
  Lines Report(const std::string& section, const std::string& entries) {
    return support::Without(StatusTest::Report("{\"status\":1,\"" + section + "\":" + entries + "}"), "failed");
  }
};

// Changed, changed and being configured, equal, of another slave, unknown, changed and told twice.
constexpr const char* kEntries = R"([{"id":1,"status":5},{"id":2,"status":6},{"id":3,"status":0},{"id":4,"status":7},
                                     {"id":99,"status":{}},{"id":1,"status":5}])";

TEST_F(StatusBatches, OfEqualDevicesAreNotWritten) {
  for (const char* section : {"speaker_info", "POS_info", "iomodule_info"}) {
    EXPECT_THAT(Report(section, R"([{"id":1,"status":0},{"id":3}])"), IsEmpty()) << section;
  }
}

TEST_F(StatusBatches, IOModules) {
  EXPECT_THAT(Report("iomodule_info", kEntries),
              ElementsAre("update iomodule 11", "update iomodule 11",
                          R"(message 0 msgd iomodule-update {"ids":[11,11],"settings":false,"type":0})"));
  EXPECT_THAT(Rows("SELECT status_on_rec_server FROM iomodule"), ElementsAre("5", "0", "0", "0"));
  EXPECT_EQ(support::ReadDeviceCache(folder()).at(0), (std::array{11, 7, 5, 0}));
}

TEST_F(StatusBatches, TerminalsAndTheirEmaps) {
  EXPECT_THAT(Report("POS_info", kEntries),
              ElementsAre("update pos 11", "update pos 12", "update pos 11",
                          R"(message 0 msgd emap-update {"ids":[30,31],"settings":false,"type":0})",
                          R"(message 0 msgd pos-update {"ids":[11,12,11],"type":0})"));
  EXPECT_THAT(Rows("SELECT status FROM pos"), ElementsAre("5", "6", "0", "0"));
}

TEST_F(StatusBatches, SpeakersAndTheirEmaps) {
  EXPECT_THAT(Report("speaker_info", kEntries),
              ElementsAre("update ipspeaker 11", "update ipspeaker 12", "update ipspeaker 11",
                          R"(message 0 msgd emap-update {"ids":[],"settings":false,"type":0})",
                          R"(message 0 msgd speaker-update {"ids":[11,12,11],"type":0})"));
  EXPECT_THAT(Rows("SELECT status_on_rec_server FROM ipspeaker"), ElementsAre("5", "6", "0", "0"));
}

TEST_F(StatusBatches, AFailedCommandWritesNoneButTheDaemonIsTold) {
  for (const char* table : {"iomodule", "pos", "ipspeaker"}) Refuse("UPDATE", table, "NEW.id=13");
  const std::string entries = R"([{"id":1,"status":5},{"id":3,"status":6}])";
  EXPECT_THAT(Report("iomodule_info", entries),
              ElementsAre("log 1 BatUpdateIOMod Failed to execute command.",
                          R"(message 0 msgd iomodule-update {"ids":[11,13],"settings":false,"type":0})"));
  EXPECT_THAT(Report("POS_info", entries), ElementsAre("log 1 BatUpdatePOS Failed to execute command.",
                                                       R"(message 0 msgd pos-update {"ids":[11,13],"type":0})"));
  EXPECT_THAT(Report("speaker_info", entries),
              ElementsAre("log 1 BatUpdateSpeaker Failed to execute command.",
                          R"(message 0 msgd speaker-update {"ids":[11,13],"type":0})"));
}

TEST_F(StatusBatches, GoOnWithoutADeviceCache) {
  std::filesystem::create_directory(folder() / "device-cache.shm");
  EXPECT_THAT(Report("iomodule_info", R"([{"id":1,"status":2}])"),
              ElementsAre("update iomodule 11", "log 1 BatUpdateIOMod Failed to get share memory CameraList.",
                          R"(message 0 msgd iomodule-update {"ids":[11],"settings":false,"type":0})"));
}

}  // namespace
