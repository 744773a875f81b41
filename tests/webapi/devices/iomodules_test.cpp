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

TEST_F(IOModules, FollowTheSnapshot) {
  Sql("INSERT INTO iomodule (id,owner_zr_id,id_on_rec_server,name) VALUES (1,8,1,'of another slave')");
  EXPECT_THAT(Update(R"([{"id":1,"name":"A","status":3},{"id":2,"name":"B"},{"id":3,"name":"C"},{"id":4,"name":"D"}])"),
              ElementsAre("insert iomodule 2", "log 4 UpdateIOModuleData Add IO module [2] from ZR [7].",  //
                          "insert iomodule 3", "log 4 UpdateIOModuleData Add IO module [3] from ZR [7].",  //
                          "insert iomodule 4", "log 4 UpdateIOModuleData Add IO module [4] from ZR [7].",  //
                          "insert iomodule 5", "log 4 UpdateIOModuleData Add IO module [5] from ZR [7]."));
  Sql("UPDATE iomodule SET device_status_flags=33 WHERE id IN (3,4)");
  // Unchanged but for the state, being configured (unchanged and changed), gone, new; the id 3 comes twice.
  EXPECT_THAT(
      Update(R"([{"id":2,"name":"B"},{"id":1,"name":"A","status":1},{"id":3,"name":"CC"},{"id":3,"zoom":[1]}])"),
      ElementsAre("log 4 UpdateIOModuleData Skip to update IOMod [4] on ZR [7] due configuring.", "insert iomodule 6",
                  "log 4 UpdateIOModuleData Add IO module [6] from ZR [7].",
                  "log 3 RemoveExtraIOMods Remove extra IOMods [5] on ZR [7].",
                  "log 4 RemoveExtraIOMods Remove IO mode [5] on ZR [7].", "delete iomodule WHERE id=5"));
  Sql("UPDATE iomodule SET device_status_flags=1 WHERE id=4");
  const std::string last = R"([{"id":1,"name":"A"},{"id":2,"name":"B"},{"id":3,"name":"CC"},{"id":3,"zoom":[1.0]}])";
  EXPECT_THAT(Update(last), ElementsAre("log 4 UpdateIOModuleData Update IOMod [4] on ZR [7].", "update iomodule 4"));
  EXPECT_THAT(Update(last), IsEmpty());
  EXPECT_THAT(Rows("SELECT id,owner_zr_id,id_on_rec_server,name,status_on_rec_server,device_status_flags,extra "
                   "FROM iomodule"),
              ElementsAre("1|8|1|of another slave|0|0|", "2|7|1|A|3|0|", "3|7|2|B|0|33|", "4|7|3|CC|0|1|",
                          R"(6|7|3||0|0|{"zoom":[1]})"));
}

TEST_F(IOModules, NoFailureStopsTheStep) {
  Update(R"([{"id":1},{"id":2},{"id":3},{"id":4}])");
  Sql("INSERT INTO iomodule_setting (owner_zr_id,iomodule_id,settings) VALUES (7,2,'{}')");
  Refuse("UPDATE", "iomodule", "NEW.id=1");
  Refuse("INSERT", "iomodule");
  Refuse("DELETE", "iomodule", "OLD.id=2");
  Break("emap_item");
  EXPECT_THAT(
      Update(R"([{"id":1,"name":"A"},{"id":9}])"),
      ElementsAre("log 4 UpdateIOModuleData Update IOMod [1] on ZR [7].", "failed to save iomodule [1]",
                  "failed to save iomodule [0]", "log 4 UpdateIOModuleData Add IO module [0] from ZR [7].",
                  "log 3 RemoveExtraIOMods Remove extra IOMods [2,3,4] on ZR [7].",
                  "log 4 RemoveExtraIOMods Remove IO mode [2] on ZR [7].", "failed to delete iomodule [2]",
                  "log 1 RemoveExtraIOMods Failed while delete IO module [2].",
                  "log 4 RemoveExtraIOMods Remove IO mode [3] on ZR [7].", "delete iomodule WHERE id=3",
                  "failed to clean up after iomodule [3]", "log 1 RemoveExtraIOMods Failed to sync related tables.",
                  "log 4 RemoveExtraIOMods Remove IO mode [4] on ZR [7].", "delete iomodule WHERE id=4",
                  "failed to clean up after iomodule [4]", "log 1 RemoveExtraIOMods Failed to sync related tables."));
  EXPECT_THAT(Rows("SELECT id FROM iomodule"), ElementsAre("1", "2"));
  EXPECT_THAT(Rows("SELECT iomodule_id FROM iomodule_setting"), ElementsAre("2"));
}

TEST_F(IOModules, AFailedListAddsEveryEntryAndRemovesNothing) {
  Update(R"([{"id":1}])");
  Break("iomodule");
  EXPECT_THAT(Update(R"([{"id":1}])"), ElementsAre("failed to list iomodule [0]", "failed to save iomodule [0]",
                                                   "log 4 UpdateIOModuleData Add IO module [0] from ZR [7]."));
}

TEST_F(IOModules, SettingsAndPairingsFollowModulesAndCameras) {
  Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server) VALUES (40,7,3);"
      "INSERT INTO iomodule (id,owner_zr_id,id_on_rec_server) VALUES (1,8,2)");
  const Json::Value document = Parse(R"({"camera_info":[{"id":3}],"iomodule_info":[{"id":1},{"id":2}],
      "iomoduleSetting":[{"id":1,"iomodule_id":2,"debounce":50}],
      "iomoduleCamPairing":[{"id":1,"iomodule_id":2,"cam_id":3},{"id":2,"iomodule_id":1,"cam_id":9},
                            {"id":3,"iomodule_id":"2","cam_id":true}]})");
  SaveIOModuleFromRecServer(7, document["iomodule_info"], false);
  const auto apply = [&] {
    SaveIOModuleSettingFromRec(7, document["iomoduleSetting"]);
    SaveIOModuleCamPairingFromRec(7, document["iomoduleCamPairing"]);
  };
  EXPECT_THAT(Journal(apply), ElementsAre("insert iomodule_setting 1", "insert iomodule_cam_pairing 1",
                                          "insert iomodule_cam_pairing 2", "insert iomodule_cam_pairing 3"));
  EXPECT_THAT(Journal(apply), IsEmpty());
  EXPECT_THAT(Rows("SELECT iomodule_id,settings FROM iomodule_setting"),
              ElementsAre(R"(3|{"debounce":50,"id":1,"iomodule_id":3})"));
  EXPECT_THAT(Rows("SELECT iomodule_id,camera_id FROM iomodule_cam_pairing"),
              ElementsAre("3|40", "2|null", "null|null"));
  EXPECT_THAT(Rows("SELECT settings FROM iomodule_cam_pairing WHERE id=3"),
              ElementsAre(R"({"cam_id":0,"id":3,"iomodule_id":0})"));
  Sql("DELETE FROM camera");
  EXPECT_THAT(Rows("SELECT iomodule_id FROM iomodule_cam_pairing"), ElementsAre("2", "null"));
  Sql("INSERT INTO emap_item (iomodule_id) VALUES (2),(3)");
  // A snapshot without the section.
  EXPECT_THAT(Update("null"), testing::Contains("log 3 RemoveExtraIOMods Remove extra IOMods [2,3] on ZR [7]."));
  for (const char* table : {"iomodule_setting", "iomodule_cam_pairing", "emap_item"}) {
    EXPECT_THAT(Rows(std::string("SELECT id FROM ") + table + " WHERE id<3"), IsEmpty()) << table;
  }
}

}  // namespace
