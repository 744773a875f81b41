/// What the library asks of the package's other libraries, with every argument. Other implementations of them rely on
/// it even where the embedded one makes no difference.

#include "analytics/analyticssteps.h"
#include "camera.h"
#include "devices/devicesteps.h"
#include "support/contractcalls.h"
#include "support/hosttest.h"

namespace {

using support::Calls;

struct Contract : support::HostTest {
  /// A row of slave 7 in each of the tables, with the host id 1 and the id 52 on the slave.
  static void Hold(const Lines& tables) {
    for (const std::string& table : tables) {
      Sql("INSERT INTO " + table + " (owner_zr_id,id_on_rec_server) VALUES (7,52)");
    }
  }
};

/// An entry that tells the sections apart.
constexpr const char* kSections =
    R"({"camCapList":[{"camModel":"M","capFileName":"7/a"}],"camDetSetting":[{"id":2}],
    "camDeviceOutput":[{"id":3}],"recShare":[{"id":4}],"iomoduleSetting":[{"id":6}],"iomoduleCamPairing":[{"id":7}],
    "POS_eventconf":[{"id":9}],"ctrler_info":[{"id":11}],"face_info":[],"iva_info":[],"counting_task_group_info":[])";

TEST_F(Contract, OfASnapshot) {
  const Json::Value document = Parse(kSections + std::string("}"));
  EXPECT_THAT(
      Calls([&] { SaveSlaveInfoUpdate(SlaveZR(), document, 7); }),
      ElementsAre("CamGetList owner 7 skipConfiguring false false",
                  "QVDB::Execute 0 \"SELECT * FROM edge_storage_settings WHERE owner_zr_id=7\" false true true true",
                  "QVDBFreeResult", "SendCompoundCmd 7 null false", "IsInteSupApi \"M\"",
                  R"(SaveCamDetSettingFromRec 7 [{"id":2}])", R"(SaveCamDeviceOutputFromRec 7 [{"id":3}])",
                  R"(UpdateRecShareFromRec 7 [{"id":4}])", R"(UpdateCtrlDataInActRule 7 [{"id":11}])",
                  "IOModuleGetList owner 7 skipConfiguring false false", R"(SaveIOModuleSettingFromRec 7 [{"id":6}])",
                  R"(SaveIOModuleCamPairingFromRec 7 [{"id":7}])", "GetPOSListByRule owner 7 hostLocalOnly false",
                  R"(SavePOSEventConfFromRecServer 7 [{"id":9}])", "IPSpeakerGetList owner 7 hostLocalOnly false",
                  R"(SaveCtrlerFromRec 7 [{"id":11}])", "TaviSetting::Enum owner 7",
                  "QvObjectCounting::GetWidgetCmsInfo2IdMap", "FaceSetting::Enum owner 7"));
}

TEST_F(Contract, OfPairing) {
  const Json::Value document =
      Parse(kSections + std::string(
                            R"(,"camera_info":[{"id":1}],"iomodule_info":[{"id":5}],"POS_info":[{"id":8}],
                                        "speaker_info":[{"id":10}]})"));
  EXPECT_THAT(Calls([&] { SaveSlaveInfoPair(SlaveZR(), document, 7); }),
              ElementsAre(R"(SaveCamObjFromRecServer 7 [{"id":1}] false false "")", "IsInteSupApi \"M\"",
                          R"(SaveCamDetSettingFromRec 7 [{"id":2}])", R"(SaveCamDeviceOutputFromRec 7 [{"id":3}])",
                          R"(SaveRecShareFromRec 7 [{"id":4}])", R"(SaveIOModuleFromRecServer 7 [{"id":5}] false)",
                          R"(SaveIOModuleSettingFromRec 7 [{"id":6}])", R"(SaveIOModuleCamPairingFromRec 7 [{"id":7}])",
                          R"(SavePOSFromRecServer 7 [{"id":8}] false)", R"(SavePOSEventConfFromRecServer 7 [{"id":9}])",
                          R"(SaveSpeakerFromRecServer 7 [{"id":10}])", R"(SaveCtrlerFromRec 7 [{"id":11}])",
                          "TaviSetting::Enum owner 7", "QvObjectCounting::GetWidgetCmsInfo2IdMap",
                          "FaceSetting::Enum owner 7"));
}

TEST_F(Contract, OfCameras) {
  Hold({"camera"});
  Sql("INSERT INTO camera (owner_zr_id,id_on_rec_server) VALUES (7,53)");
  EXPECT_THAT(Calls([] { UpdateCameraData(7, Parse(R"([{"id":51},{"id":52,"name":"B"}])")); }),
              ElementsAre(testing::_, testing::_, testing::_,
                          R"(InitCamObjByJson {"id":51} row 0, server 7, there 0 true true false)",
                          "Camera::Save row 0, server 7, there 51",
                          R"(InitCamObjByJson {"id":52,"name":"B"} row 1, server 7, there 52 false true false)",
                          "Camera::Save row 1, server 7, there 52",
                          R"(SendCompoundCmd 7 {"source":[{"id":"3,1","srcType":0,"status":1}]} false)",
                          "Camera::Delete row 2, server 7, there 53 false",
                          "SyncRelatedTableForCamDel row 2, server 7, there 53 false"));
}

// A new device, a changed one that has lost its server, and one that cannot be taken.
constexpr const char* kEntries = R"([{"id":51},{"id":52,"name":"B"},{"id":53,"port":"no number"}])";

TEST_F(Contract, OfIOModules) {
  Hold({"iomodule"});
  EXPECT_THAT(Calls([] { EXPECT_EQ(UpdateIOModuleData(7, Parse(kEntries)), 0); }),
              ElementsAre("IOModuleGetList owner 7 skipConfiguring false false",
                          R"(InitIOModuleByJson {"id":51} row 0, server 0, there 0 true true false)",
                          "IOModule::Save row 0, server 7, there 51 false false",
                          R"(InitIOModuleByJson {"id":52,"name":"B"} row 1, server 7, there 52 false true false)",
                          "IOModule::Save row 1, server 7, there 52 false false",
                          R"(InitIOModuleByJson {"id":53,"port":"no number"} row 0, server 0, there 0 true true false)",
                          "IOModule::Save row 0, server 7, there 53 false false"));
}

TEST_F(Contract, OfTerminals) {
  Hold({"pos"});
  EXPECT_THAT(
      Calls([] { ReconcilePOSs(7, Parse(kEntries)); }),
      ElementsAre("GetPOSListByRule owner 7 hostLocalOnly false",
                  R"(POS::SetByJson row 0, server 0, there 0 {"id":51} true 0)", "POS::Save row 0, server 7, there 51",
                  R"(POS::SetByJson row 1, server 7, there 52 {"id":52,"name":"B"} true 1)",
                  "POS::Save row 1, server 7, there 52",
                  R"(POS::SetByJson row 0, server 0, there 0 {"id":53,"port":"no number"} true 0)"));
}

TEST_F(Contract, OfSpeakers) {
  Hold({"ipspeaker"});
  EXPECT_THAT(
      Calls([] { ReconcileSpeakers(7, Parse(kEntries)); }),
      ElementsAre("IPSpeakerGetList owner 7 hostLocalOnly false",
                  R"(IPSpeaker::SetByJsonWithDBColKey row 0, server 0, there 0 {"id":51} true 0 false)",
                  "IPSpeaker::Save row 0, server 7, there 51",
                  R"(IPSpeaker::SetByJsonWithDBColKey row 1, server 7, there 52 {"id":52,"name":"B"} true 1 false)",
                  "IPSpeaker::Save row 1, server 7, there 52",
                  R"(IPSpeaker::SetByJsonWithDBColKey row 0, server 0, there 0 {"id":53,"port":"no number"} true 0 )"
                  "false"));
}

TEST_F(Contract, OfRefusedUpdates) {
  Hold({"pos", "ipspeaker"});
  const Json::Value section = Parse(R"([{"id":52,"port":"no number"}])");
  EXPECT_THAT(Calls([&] { ReconcilePOSs(7, section); }), testing::SizeIs(2)) << "it is listed, taken, not saved";
  EXPECT_THAT(Calls([&] { ReconcileSpeakers(7, section); }), testing::SizeIs(2));
}

TEST_F(Contract, OfControllersAndDoors) {
  Hold({"axis_acs_ctrler"});
  Sql("INSERT INTO axis_door (ctrler_id,owner_zr_id,id_on_rec_server,status) VALUES (1,7,61,1),(1,7,62,1)");
  EXPECT_THAT(Calls([] { UpdateCtrlerData(7, Parse(R"([{"id":52,"door":[{"id":61}]},{"id":53}])")); }),
              ElementsAre(R"(AxisAcsCtrler::SetByJson row 1, server 7, there 52 {"door":[{"cam_id":0,"cam_zr_id":0,)"
                          R"("id":1,"id_on_rec":61},{"cam_id":0,"cam_zr_id":0,"id":2,"id_on_rec":0}],"id":1,)"
                          R"("id_on_rec":52,"zr_id":7})",
                          "AxisAcsCtrler::Save row 1, server 7, there 52", R"(SaveCtrlerFromRec 7 [{"id":53}])"));
  EXPECT_THAT(Calls([] { UpdateCtrlerData(7, Parse("[]")); }), ElementsAre("SaveCtrlerFromRec 7 null"));
}

TEST_F(Contract, OfCapabilityFilesWithoutAName) {
  EXPECT_THAT(Calls([] { SaveCamCapFiles(7, Parse(R"([{"camVendor":"V","camModel":"M","camCap":{}}])")); }), IsEmpty());
}

TEST_F(Contract, OfTasks) {
  Hold({"iva_task", "face_task"});
  CachedCamMap cameras(7, MAP_KEY_ID_ON_REC_SERVER);
  EXPECT_THAT(Calls([&] {
                UpdateIvaInfo(Parse(R"({"iva_info":[]})"), 7, cameras, false);
                UpdateFaceInfo(Parse(R"({"face_info":[]})"), 7, cameras, false);
              }),
              ElementsAre("TaviSetting::Enum owner 7", "TaviSetting::Delete false", "FaceSetting::Enum owner 7",
                          "FaceSetting::Delete false"));
}

TEST_F(Contract, OfAReport) {
  Hold({"camera", "iomodule", "pos", "ipspeaker", "axis_acs_ctrler"});
  Sql("INSERT INTO axis_door (ctrler_id,owner_zr_id,id_on_rec_server,status) VALUES (1,7,61,1),(1,7,62,1)");
  const support::KeyFiles no_other_test;
  SlaveZRStatus record;
  record.ZrId = 7;
  const Json::Value report = Parse(
      R"({"status":1,"camera_info":[{"id":52,"rtsp_key":"of the contract"}],
      "iomodule_info":[{"id":52,"status":3}],"POS_info":[{"id":52,"status":3}],"speaker_info":[{"id":52,"status":3}],
      "ctrler_info":[{"id":52,"door":[{"id":61,"status":2},{"id":62,"status":1}]}]})");
  EXPECT_THAT(
      Calls([&] { SaveSlaveStatus(report, record); }),
      ElementsAre("SetFileOwnerToQV false", "GetIOModuleMapOnRecServer 7 true",
                  R"(QVDB::Execute 0 "UPDATE iomodule SET status_on_rec_server=3 WHERE id=1; " false true true true)",
                  "GetPOSMapOnRecServer 7 true",
                  R"(QVDB::Execute 9 "UPDATE pos SET status=3 WHERE id=1; " false true true true)",
                  "GetSpeakerMapOnRecServer 7 true",
                  R"(QVDB::Execute 13 "UPDATE ipspeaker SET status_on_rec_server=3 WHERE id=1; " false true true true)",
                  "AxisDoor::Save row 1, server 7, there 61", "AxisAcsCtrler::Save row 1, server 7, there 52"));
}

TEST_F(Contract, OfRemoval) {
  EXPECT_THAT(Calls([] { SyncRelatedTableForSlaveDel(3); }),
              ElementsAre("OperateAllEvtMntByZrId 3 3",
                          R"(SendCmdToDaemon "qvactruled" 6 {"onlyUpdateDevSts":false,"source":[{"id":"3","srcType":5,)"
                          R"("status":3}],"zrId":0} null false)"));
}

}  // namespace
