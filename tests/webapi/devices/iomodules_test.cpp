#include "devices/iomodules.h"

#include "recserversavers.h"
#include "support/hosttest.h"

namespace {

using support::Lines;
using support::Parse;
using testing::ElementsAre;
using testing::IsEmpty;

class IOModules : public support::HostTest {
 protected:
  Lines Update(const std::string& section) {
    return Journal([&] { EXPECT_EQ(0, UpdateIOModuleData(7, Parse(section))); });
  }
};

TEST_F(IOModules, AreLeftAloneWhileTheyAreConfigured) {
  Sql("INSERT INTO iomodule (owner_zr_id,id_on_rec_server,name,device_status_flags) VALUES (7,1,'A',33),(7,2,'B',33)");
  const std::string section = R"([{"id":1,"name":"AA"},{"id":2,"name":"B"}])";
  EXPECT_THAT(Update(section),
              ElementsAre("log 4 UpdateIOModuleData Skip to update IOMod [1] on ZR [7] due configuring."));
  Sql("UPDATE iomodule SET device_status_flags=1");
  EXPECT_THAT(Update(section),
              ElementsAre("log 4 UpdateIOModuleData Update IOMod [1] on ZR [7].", "update iomodule 1"));
  EXPECT_THAT(Rows("SELECT name,device_status_flags FROM iomodule"), ElementsAre("AA|1", "B|1"));
}

TEST_F(IOModules, PairingTwiceChangesNothing) {
  const Json::Value section = Parse(R"([{"id":1,"name":"A"},{"id":2,"model":"M"},17])");
  const auto pair = [&] { EXPECT_EQ(0, SaveIOModuleFromRecServer(7, section, true)); };
  const std::string update = R"(message 0 msgd iomodule-update {"ids":[1,2],"settings":true,"type":0})";
  EXPECT_THAT(Journal(pair), ElementsAre("insert iomodule 1", "insert iomodule 2", update));
  EXPECT_THAT(Journal(pair), ElementsAre(update));
}

TEST_F(IOModules, SettingsAndPairingsFollowModulesAndCameras) {
  Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server) VALUES (40,7,3);"
      "INSERT INTO iomodule (id,owner_zr_id,id_on_rec_server) VALUES (1,8,2)");
  const Json::Value document = Parse(R"({"camera_info":[{"id":3}],"iomodule_info":[{"id":1},{"id":2}],
      "iomoduleSetting":[{"id":1,"iomodule_id":2,"debounce":50}],
      "iomoduleCamPairing":[{"id":1,"iomodule_id":2,"cam_id":3},{"id":2,"iomodule_id":1,"cam_id":9}]})");
  SaveIOModuleFromRecServer(7, document["iomodule_info"], false);
  const auto apply = [&] {
    SaveIOModuleSettingFromRec(7, document["iomoduleSetting"]);
    SaveIOModuleCamPairingFromRec(7, document["iomoduleCamPairing"]);
  };
  EXPECT_THAT(Journal(apply), ElementsAre("insert iomodule_setting 1", "insert iomodule_cam_pairing 1",
                                          "insert iomodule_cam_pairing 2"));
  EXPECT_THAT(Journal(apply), IsEmpty());
  EXPECT_THAT(Rows("SELECT iomodule_id,settings FROM iomodule_setting"),
              ElementsAre(R"(3|{"debounce":50,"id":1,"iomodule_id":3})"));
  EXPECT_THAT(Rows("SELECT iomodule_id,camera_id FROM iomodule_cam_pairing"), ElementsAre("3|40", "2|null"));
  Sql("DELETE FROM camera");
  EXPECT_THAT(Rows("SELECT iomodule_id FROM iomodule_cam_pairing"), ElementsAre("2"));
  Sql("INSERT INTO emap_item (iomodule_id) VALUES (2),(3)");
  // A snapshot without the section.
  EXPECT_THAT(Update("null"), testing::Contains("log 3 RemoveExtraIOMods Remove extra IOMods [2,3] on ZR [7]."));
  for (const char* table : {"iomodule_setting", "iomodule_cam_pairing", "emap_item"}) {
    EXPECT_THAT(Rows(std::string("SELECT id FROM ") + table), IsEmpty()) << table;
  }
}

}  // namespace
