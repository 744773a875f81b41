#include <filesystem>

#include "statustest.h"

namespace {

using support::Lines;
using testing::ElementsAre;
using testing::IsEmpty;

class DeviceStatus : public StatusTest {
 protected:
  DeviceStatus() {
    for (const char* table : {"iomodule", "pos", "ipspeaker"}) {
      Sql(std::string("INSERT INTO ") + table +
          " (id,owner_zr_id,id_on_rec_server,device_status_flags) VALUES (11,7,1,0),(12,7,2,0x20),(13,7,3,0x40),"
          "(14,8,4,0)");
    }
    Sql("INSERT INTO emap_item (emap_id,pos_id,speaker_id) VALUES (31,11,NULL),(30,12,NULL),(31,12,NULL),(32,13,NULL)");
  }
  Lines Report(const std::string& sections) { return StatusTest::Report("{\"status\":1," + sections + "}"); }
};

// Changed, configuring, equal, of another slave, unknown, equal.
constexpr const char* kEntries = R"([{"id":1,"status":5},{"id":2,"status":6},{"id":3,"status":0},{"id":4,"status":7},
                                     {"id":99,"status":8},{"id":3}])";

std::string AllSections(const std::string& entries) {
  return "\"speaker_info\":" + entries + ",\"POS_info\":" + entries + ",\"iomodule_info\":" + entries;
}

TEST_F(DeviceStatus, WritesEachKindAtOnceAndTellsOfIt) {
  EXPECT_THAT(Report(AllSections(kEntries)),
              ElementsAre("execute UPDATE iomodule SET status_on_rec_server=5 WHERE id=11;",
                          R"(message 0 msgd iomodule-update {"ids":[11],"settings":false,"type":0})",
                          "execute UPDATE pos SET status=5 WHERE id=11;",  //
                          "execute UPDATE pos SET status=6 WHERE id=12;",
                          R"(message 0 msgd emap-update {"ids":[30,31],"settings":false,"type":0})",
                          R"(message 0 msgd pos-update {"ids":[11,12],"type":0})",
                          "execute UPDATE ipspeaker SET status_on_rec_server=5 WHERE id=11;",
                          "execute UPDATE ipspeaker SET status_on_rec_server=6 WHERE id=12;",
                          R"(message 0 msgd emap-update {"ids":[],"settings":false,"type":0})",
                          R"(message 0 msgd speaker-update {"ids":[11,12],"type":0})"));
  EXPECT_THAT(Rows("SELECT status_on_rec_server FROM iomodule"), ElementsAre("5", "0", "0", "0"));
  EXPECT_THAT(Rows("SELECT status FROM pos"), ElementsAre("5", "6", "0", "0"));
  EXPECT_THAT(Report(AllSections(kEntries)), IsEmpty());
  EXPECT_THAT(Report(AllSections("[]")), IsEmpty());
  EXPECT_THAT(Report("\"POS_info\":{}"), IsEmpty());
}

TEST_F(DeviceStatus, TellsOfDevicesEvenWhenTheCommandFails) {
  Sql("UPDATE iomodule SET device_status_flags=0");
  for (const char* table : {"iomodule", "pos", "ipspeaker"}) Refuse("UPDATE", table, "NEW.id=12");
  const auto failure = [](const std::string& instance, const std::string& function) {
    return testing::IsSupersetOf({"failed to execute a command on database [" + instance + "]",
                                  "log 1 " + function + " Failed to execute command."});
  };
  const Lines lines = Report(AllSections(kEntries));
  EXPECT_THAT(lines, failure("0", "BatUpdateIOMod"));
  EXPECT_THAT(lines, failure("9", "BatUpdatePOS"));
  EXPECT_THAT(lines, failure("13", "BatUpdateSpeaker"));
  EXPECT_THAT(support::Only(lines, "message"),
              ElementsAre(R"(message 0 msgd iomodule-update {"ids":[11,12],"settings":false,"type":0})",
                          R"(message 0 msgd pos-update {"ids":[11,12],"type":0})",
                          R"(message 0 msgd speaker-update {"ids":[11,12],"type":0})"));
  EXPECT_THAT(Rows("SELECT status FROM pos WHERE status<>0"), IsEmpty()) << "the whole command failed";
  EXPECT_FALSE(std::filesystem::exists(folder() / "device-cache.shm"));
}

TEST_F(DeviceStatus, GoesOnWithoutADeviceCache) {
  std::filesystem::create_directory(folder() / "device-cache.shm");
  EXPECT_THAT(Report(R"("iomodule_info":[{"id":1,"status":2}])"),
              ElementsAre("execute UPDATE iomodule SET status_on_rec_server=2 WHERE id=11;",
                          "log 1 BatUpdateIOMod Failed to get share memory CameraList.",
                          R"(message 0 msgd iomodule-update {"ids":[11],"settings":false,"type":0})"));
  EXPECT_THAT(Rows("SELECT status_on_rec_server FROM iomodule WHERE id=11"), ElementsAre("2"));
}

}  // namespace
