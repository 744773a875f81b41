/// The savers that take a whole section of a slave's document.

#include "devices/devicesteps.h"
#include "recserversavers.h"
#include "support/hosttest.h"

namespace {

using Importers = support::HostTest;

TEST_F(Importers, ActionRulesKnowTheHostsCamerasAndNoSecrets) {
  Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server) VALUES (30,7,3)");
  const Json::Value section =
      Parse(R"([{"id":1,"username":"u","password":"p","door":[{"id":4,"cam_id":3},{"id":5,"cam_id":9}]}])");
  UpdateCtrlDataInActRule(7, section);
  EXPECT_THAT(Rows("SELECT settings FROM ctrler_action_rule"),
              ElementsAre(R"({"door":[{"cam_id":30,"id":4},{"cam_id":0,"id":5}],"id":1})"));
  EXPECT_THAT(Journal([&] { UpdateCtrlDataInActRule(7, section); }), IsEmpty());
}

TEST_F(Importers, ASectionIsReplacedAllOrNothingAndTiedToItsDevices) {
  Sql("INSERT INTO camera (owner_zr_id,id_on_rec_server) VALUES (9,3),(7,3)");
  const auto save = [](const std::string& section) {
    return Journal([&] { SaveCamDetSettingFromRec(7, Parse(section)); });
  };
  const std::string first = R"([{"id":1,"cam_id":3,"level":5},{"id":2,"cam_id":4}])";
  save(first);
  EXPECT_THAT(Rows("SELECT camera_id,settings FROM camera_detection_setting ORDER BY id"),
              ElementsAre(R"(2|{"cam_id":2,"id":1,"level":5})", R"(null|{"cam_id":0,"id":2})"))
      << "a camera of the same slave, or none";
  EXPECT_THAT(save(first), IsEmpty());
  EXPECT_THAT(save(R"([{"id":2,"cam_id":3}])"),
              ElementsAre("update camera_detection_setting 2", "delete camera_detection_setting 1"));
  Refuse("INSERT", "camera_detection_setting", "NEW.id_on_rec_server=9");
  save(R"([{"id":8},{"id":9}])");
  EXPECT_THAT(Rows("SELECT id FROM camera_detection_setting"), ElementsAre("2"));
  save("null");
  EXPECT_THAT(Rows("SELECT id FROM camera_detection_setting"), IsEmpty());
}

TEST_F(Importers, PairingsAreTiedToModulesAndCamerasAndGoWithTheModule) {
  Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server) VALUES (40,7,3);"
      "INSERT INTO iomodule (id,owner_zr_id,id_on_rec_server) VALUES (1,8,2),(2,7,1),(3,7,2)");
  SaveIOModuleCamPairingFromRec(7, Parse(R"([{"id":1,"iomodule_id":2,"cam_id":3},{"id":2,"iomodule_id":1,"cam_id":9},
                                             {"id":3,"iomodule_id":"2","cam_id":true}])"));
  EXPECT_THAT(
      Rows("SELECT iomodule_id,camera_id,settings FROM iomodule_cam_pairing"),
      ElementsAre(R"(3|40|{"cam_id":40,"id":1,"iomodule_id":3})", R"(2|null|{"cam_id":0,"id":2,"iomodule_id":2})",
                  R"(null|null|{"cam_id":0,"id":3,"iomodule_id":0})"));
  Sql("DELETE FROM camera");
  EXPECT_THAT(Rows("SELECT iomodule_id FROM iomodule_cam_pairing ORDER BY id"), ElementsAre("2", "null"));
  UpdateIOModuleData(7, Json::Value());
  EXPECT_THAT(Rows("SELECT iomodule_id FROM iomodule_cam_pairing"), ElementsAre("null"));
}

TEST_F(Importers, TerminalsKeepTheirRulesUntilOthersAreReported) {
  const auto update = [](const std::string& section) { return Journal([&] { ReconcilePOSs(7, Parse(section)); }, 3); };
  const std::string rules = R"([{"id":1,"text_rules":[{"type":1,"pattern":"TOTAL","value":"SUM"},{"type":2}]}])";
  update(rules);
  EXPECT_THAT(update(rules), IsEmpty());
  EXPECT_THAT(update(R"([{"id":1,"name":"renamed"}])"), ElementsAre("update pos 1"));
  update(R"([{"id":1,"text_rules":[{"type":1,"pattern":"VOID"},{"type":"x"}]}])");
  EXPECT_THAT(Rows("SELECT pos_id,position,type,pattern,value FROM pos_text_rule ORDER BY id"),
              ElementsAre("1|0|1|TOTAL|SUM", "1|1|2||"))
      << "refused";
  update(R"([{"id":1,"text_rules":[]}])");
  EXPECT_THAT(Rows("SELECT id FROM pos_text_rule"), IsEmpty());
}

}  // namespace
