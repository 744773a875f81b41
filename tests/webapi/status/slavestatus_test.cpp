/// What a status report does through the export: the server's record, and which steps it reaches.
#include <regex>

#include "qvjson.h"
#include "shared/actruledapi.h"
#include "support/hosttest.h"

namespace {

constexpr const char* kFull = R"({"status":1,"pkg_status":2,"vol_status":3,"cam_count":4,"iomodule_count":5,
  "trans_dev_count":6,"speaker_dev_count":7,"acs_door_count":8,"volSpace":9.5,"is_beta":false,"cms_locked":"true",
  "cms_masked":"true","has_aac":true,"has_hevc":true,"oru_pkg_status":10,"recEncryptEnabled":true,"cookie":"c",
  "serial_num":"s","tarn_version":"t","qv_version":"q","dp_version":"d","recover_progress":11})";

/// A report that changes something of every kind, with `value` wherever it can, and knows tasks that the host does not.
std::string ReportOfEverything(int value, const std::string& status = "1") {
  constexpr const char* kReport = R"({"ctrler_info":[{"id":1,"status":@}],"speaker_info":[{"id":1,"status":@}],
      "POS_info":[{"id":1,"status":@}],"iomodule_info":[{"id":1,"status":@}],
      "iva_info":[{"id":1,"camera_id":1,"name":"@"},{"id":8,"camera_id":1}],
      "face_info":[{"id":1,"camera_id":1,"name":"@"},{"id":8,"camera_id":1}],
      "camera_info":[{"id":1,"stream_profile1":@}],"cms_masked":"true",
      "camCapList":[{"camVendor":"V","camModel":"M","capFileName":"3/V/M.cap","camCap":@}],"status":)";
  return std::regex_replace(kReport, std::regex("@"), std::to_string(value)) + status + "}";
}

struct SlaveStatus : support::StatusTest {
  /// A device and two tasks of every kind.
  static void HoldEverything() {
    SaveSlaveInfoUpdate(SlaveZR(), Parse(support::kEverySection), 7);
    Sql("INSERT INTO iva_task (owner_zr_id,id_on_rec_server,camera_id) VALUES (7,2,1);"
        "INSERT INTO face_task (owner_zr_id,id_on_rec_server,camera_id) VALUES (7,2,1)");
  }
};

TEST_F(SlaveStatus, FillsTheRecordAndSaysSo) {
  record_.LoginError = 12;
  EXPECT_THAT(
      Report(kFull, 7),
      ElementsAre("log 7 SaveSlaveStatus ZrInfo: ZrId: [7], Status: [1], VolStatus: [3], PkgStatus: [2], CamCnt: [4], "
                  "DoorCnt: [8], VolSpace: [9.500000], blCmsLocked: [1], blCmsMasked: [1], LoginError: [12], "
                  "strCookie: [c], strSerialNum: [s], strTarnVersion: [t], strQVVersion: [q], isBeta: [0], "
                  "strDPVersion: [d], RecoverProgress: [11],blHasAAC: [1], blHasHEVC: [1], ORUPkgStatus: [10], "
                  "blRecEncryptEnabled: [1]."));
  EXPECT_THAT((std::array{record_.IOModCnt, record_.TransDevCnt, record_.SpeakerDevCnt}), ElementsAre(5, 6, 7));
  EXPECT_THAT(Report(kFull), IsEmpty());
}

TEST_F(SlaveStatus, KnowsWhatAnAbsentMemberMeans) {
  Report(kFull);
  // No status: offline, so what belongs to devices stays.
  EXPECT_THAT(Report("{}", 7),
              ElementsAre("log 7 SaveSlaveStatus ZrInfo: ZrId: [7], Status: [0], VolStatus: [0], PkgStatus: [0], "
                          "CamCnt: [4], DoorCnt: [8], VolSpace: [9.500000], blCmsLocked: [0], blCmsMasked: [0], "
                          "LoginError: [0], strCookie: [], strSerialNum: [], strTarnVersion: [], strQVVersion: [], "
                          "isBeta: [1], strDPVersion: [], RecoverProgress: [11],blHasAAC: [1], blHasHEVC: [1], "
                          "ORUPkgStatus: [10], blRecEncryptEnabled: [0]."));
  Report(R"({"status":4})");
  EXPECT_EQ(record_.VolSpace, -1.0);
  EXPECT_THAT((std::array{record_.CamCnt, record_.RecoverProgress}), ElementsAre(0, 0));
  for (const char* not_true : {"\"TRUE\"", "\"1\"", "1", "true", "\"true \"", "null"}) {
    record_.blCmsLocked = true;
    Report("{\"cms_locked\":" + std::string(not_true) + "}");
    EXPECT_FALSE(record_.blCmsLocked) << not_true;
  }
}

TEST_F(SlaveStatus, ATypeThatCannotBeReadStopsTheReport) {
  record_.CamCnt = 5;
  EXPECT_THROW(SaveSlaveStatus(Parse(R"({"status":1,"cookie":"new","cam_count":{}})"), record_), Json::Exception);
  EXPECT_EQ(record_.strCookie, "new");
  EXPECT_EQ(record_.CamCnt, 5);
}

TEST_F(SlaveStatus, StepsComeInOrderAndAFailedMessageStopsNone) {
  HoldEverything();
  const auto steps = [this](int value) {
    Lines lines;
    for (const std::string& line : Report(ReportOfEverything(value), 3)) {
      const bool is_message = line.starts_with("message") || line.starts_with("failed to send a message");
      const std::string words = line.substr(0, line.find(' ', line.find(' ', line.find(' ') + 1) + 1));
      lines.push_back(is_message ? "message" : words);
    }
    return lines;
  };
  // Of the tasks those that both have are updated; none is added or deleted.
  const testing::Matcher<Lines> in_order =
      ElementsAre("update camera 1", "message", "update face_task 1", "update iva_task 1", "update iomodule 1",
                  "message", "update pos 1", "message", "message", "update ipspeaker 1", "message", "message",
                  "update axis_acs_ctrler 1", "update capability_file 1");
  EXPECT_THAT(steps(8), in_order);
  Refuse("INSERT", "message");
  EXPECT_THAT(steps(9), in_order);
}

// An empty section of tasks is handed over, as those of terminals and controllers are, which do nothing then.
TEST_F(SlaveStatus, UnreadableTablesConcernTheirStepsAlone) {
  HoldEverything();
  for (const char* table : {"camera", "face_task", "iva_task", "iomodule", "pos", "ipspeaker", "axis_acs_ctrler"}) {
    Break(table);
  }
  const std::string unlisted = "failed to list the cameras of server [7]";
  const std::string no_face = "log 1 UpdateFaceInfo Failed to get cam map of ZR [7].";
  const std::string no_iva = "log 1 UpdateIvaInfo Failed to get cam map of ZR [7].";
  EXPECT_THAT(Report(R"({"status":1,"camera_info":[],"face_info":[],"iva_info":[],"iomodule_info":[],"POS_info":[],
                         "speaker_info":[],"ctrler_info":[]})"),
              ElementsAre(unlisted, no_face, unlisted, no_iva));
  EXPECT_THAT(
      Report(ReportOfEverything(8)),
      ElementsAre(unlisted, "log 1 UpdateCamInfo Failed to get cam map of ZR [7].", unlisted, no_face, unlisted, no_iva,
                  "failed to list the I/O modules of server [7]", "failed to list the POS terminals of server [7]",
                  "failed to list speakers", "failed to list controllers", unlisted, "update capability_file 1"));
}

TEST_F(SlaveStatus, AnOfflineReportBringsItsCapabilityFilesAlone) {
  HoldEverything();
  EXPECT_THAT(Report(ReportOfEverything(9, "0")), ElementsAre("update capability_file 1"));
  EXPECT_EQ(support::ReadWholeFile(folder() / "capability/7/V/M.cap"), "9\n");
  for (const char* status : {"2", "3", "5", "-1"}) {
    EXPECT_THAT(Report(ReportOfEverything(9, status)), IsEmpty()) << status;
  }
  EXPECT_TRUE(record_.blCmsMasked);
}

TEST_F(SlaveStatus, CommandsNameKindsThatHaveDevices) {
  Json::Value command;
  const std::list<int> none;
  CompoundSendCmd2ActRuled(none, none, none, DEVICE_STATUS_ENABLED, command);
  CompoundSendCmd2ActRuled(none, std::list{2}, std::list{3, 4}, DEVICE_STATUS_ENABLED, command);
  CompoundSendCmd2ActRuled(std::list{1}, none, none, DEVICE_STATUS_DISABLED, command);
  EXPECT_EQ(JsonWrite(command, true), R"({"source":[{"id":"2","srcType":2,"status":1},)"
                                      R"({"id":"3,4","srcType":3,"status":1},{"id":"1","srcType":0,"status":2}]})");
}

TEST_F(SlaveStatus, CommandsAreForwardedWhenTheServerBelongsToACms) {
  const auto send = [this](int result) {
    return Journal([=] {
      EXPECT_EQ(ActRuledApi::SendCmd(ACTRULED_CMD_DEVICE_STATUS, DEVICE_SRC_REC_SERVER, "7", DEVICE_STATUS_DELETED,
                                     false, 0, false),
                result);
    });
  };
  const std::string command = R"({"onlyUpdateDevSts":false,"source":[{"id":"7","srcType":5,"status":3}],"zrId":0})";
  const std::string sent = "message 0 qvactruled 6 " + command;
  const std::string forwarded = R"(message 0 cms-host 3 {"cmdType":6,"data":)" + command + "}";
  EXPECT_THAT(send(0), ElementsAre(sent));
  Sql("INSERT INTO setting (name,text) VALUES ('cms_identity','rec-server')");
  EXPECT_THAT(send(0), ElementsAre(sent, forwarded));
  // The result is the daemon's; the forwarding is tried all the same.
  Refuse("INSERT", "message", "NEW.target='qvactruled'");
  EXPECT_THAT(send(-1), ElementsAre("failed to send a message about server [0]", forwarded));
}

}  // namespace
