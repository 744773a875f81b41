/// The server's own record in a status report, and which steps a report reaches in which order.

#include "qvjson.h"
#include "shared/actruledapi.h"
#include "support/hosttest.h"

namespace {

using support::Only;
using support::Without;

constexpr const char* kFull =
    R"({"status":1,"pkg_status":2,"vol_status":3,"cam_count":4,"iomodule_count":5,
  "trans_dev_count":6,"speaker_dev_count":7,"acs_door_count":8,"volSpace":9.5,"is_beta":false,"cms_locked":"true",
  "cms_masked":"true","has_aac":true,"has_hevc":true,"oru_pkg_status":10,"recEncryptEnabled":true,"cookie":"c",
  "serial_num":"s","tarn_version":"t","qv_version":"q","dp_version":"d","recover_progress":11})";

using SlaveStatus = support::StatusTest;

TEST_F(SlaveStatus, FillsTheRecordAndLogsIt) {
  record_.LoginError = 12;
  EXPECT_THAT(
      Report(kFull, 7),
      ElementsAre(
          "log 7 SaveSlaveStatus ZrInfo: ZrId: [7], Status: [1], VolStatus: [3], PkgStatus: [2], CamCnt: [4], DoorCnt: "
          "[8], VolSpace: [9.500000], blCmsLocked: [1], blCmsMasked: [1], LoginError: [12], strCookie: [c], "
          "strSerialNum: [s], strTarnVersion: [t], strQVVersion: [q], isBeta: [0], strDPVersion: [d], RecoverProgress: "
          "[11],blHasAAC: [1], blHasHEVC: [1], ORUPkgStatus: [10], blRecEncryptEnabled: [1]."));
  EXPECT_THAT((std::array{record_.IOModCnt, record_.TransDevCnt, record_.SpeakerDevCnt}), ElementsAre(5, 6, 7));
}

TEST_F(SlaveStatus, AnOfflineReportLeavesWhatBelongsToTheDevices) {
  Report(kFull);
  EXPECT_THAT(
      Report("{}", 7),
      ElementsAre(testing::AllOf(
          testing::HasSubstr("Status: [0], VolStatus: [0], PkgStatus: [0], CamCnt: [4], DoorCnt: [8], VolSpace: "
                             "[9.500000], blCmsLocked: [0], blCmsMasked: [0], LoginError: [0], strCookie: [], "),
          testing::HasSubstr("RecoverProgress: [11],blHasAAC: [1], blHasHEVC: [1], ORUPkgStatus: [10], "))));
  EXPECT_EQ(record_.IOModCnt, 5);
}

TEST_F(SlaveStatus, AbsentMembersOfAnOnlineReportHaveDefaults) {
  Report(kFull);
  EXPECT_THAT(
      Report(R"({"status":4})", 7),
      ElementsAre(
          "log 7 SaveSlaveStatus ZrInfo: ZrId: [7], Status: [4], VolStatus: [0], PkgStatus: [0], CamCnt: [0], DoorCnt: "
          "[0], VolSpace: [-1.000000], blCmsLocked: [0], blCmsMasked: [0], LoginError: [0], strCookie: [], "
          "strSerialNum: [], strTarnVersion: [], strQVVersion: [], isBeta: [1], strDPVersion: [], RecoverProgress: "
          "[0],blHasAAC: [0], blHasHEVC: [0], ORUPkgStatus: [0], blRecEncryptEnabled: [0]."));
}

TEST_F(SlaveStatus, OnlyTheTextTrueLocksOrMasks) {
  for (const std::string not_true : {"\"TRUE\"", "1", "true", "\"true \"", "null"}) {
    Report("{\"cms_locked\":" + not_true + ",\"cms_masked\":" + not_true + "}");
    EXPECT_FALSE(record_.blCmsLocked || record_.blCmsMasked) << not_true;
  }
}

/// Slave 7 with a device of every kind and a task of both kinds.
struct StatusSteps : support::StatusTest {
  StatusSteps() { SaveSlaveInfoUpdate(SlaveZR(), Parse(support::kEverySection), 7); }
  /// A report of `members` that changes something of every kind.
  static Json::Value Everything(const std::string& members) {
    return Parse(R"({"ctrler_info":[{"id":1,"status":8}],"speaker_info":[{"id":1,"status":8}],
        "POS_info":[{"id":1,"status":8}],"iomodule_info":[{"id":1,"status":8}],"camera_info":[{"id":1,"status":8}],
        "iva_info":[{"id":1,"camera_id":1,"name":"8"},{"id":8,"camera_id":1}],
        "camCapList":[{"camVendor":"V","camModel":"M","capFileName":"3/V/M.cap","camCap":8}],)" +
                 members + "}");
  }
  /// What such a report writes.
  Lines Changes(const std::string& members) {
    return Without(Journal([&] { SaveSlaveStatus(Everything(members), record_); }, 3), "message");
  }
  /// What such a report of an online slave writes until it throws.
  Lines ChangesBefore(const std::string& misfit) {
    const Json::Value report = Everything("\"status\":1," + misfit);
    return Without(Journal([&] { EXPECT_THROW(SaveSlaveStatus(report, record_), Json::Exception) << misfit; }, 3),
                   "message");
  }
};

TEST_F(StatusSteps, ComeInOrder) {
  EXPECT_THAT(
      Changes(R"("status":1,"face_info":[{"id":1,"camera_id":1,"name":"8"},{"id":8,"camera_id":1}])"),
      ElementsAre("update camera 1", "update face_task 1", "update iva_task 1", "update iomodule 1", "update pos 1",
                  "update ipspeaker 1", "update axis_acs_ctrler 1", "update capability_file 1"));
}

TEST_F(StatusSteps, OfTheDevicesAreLeftOutOffline) {
  for (const char* status : {"0", "2", "3", "5", "-1"}) {
    EXPECT_THAT(Changes("\"cms_masked\":\"true\",\"status\":" + std::string(status)),
                testing::Each("update capability_file 1"));
    EXPECT_TRUE(record_.blCmsMasked);
  }
}

TEST_F(StatusSteps, EmptySectionsReachTheTaskStepsAlone) {
  for (const char* table : {"camera", "iomodule", "pos", "ipspeaker", "axis_acs_ctrler"}) Break(table);
  const Lines lines = Report(R"({"status":1,"camera_info":[],"face_info":[],"iva_info":[],"iomodule_info":[],
                                 "POS_info":[],"speaker_info":[],"ctrler_info":[]})");
  EXPECT_THAT(Only(lines, "log"), ElementsAre("log 1 UpdateFaceInfo:356 Failed to get cam map of ZR [7].",
                                              "log 1 UpdateIvaInfo:116 Failed to get cam map of ZR [7]."));
  EXPECT_EQ(Only(lines, "failed").size(), 2U) << "no other list was asked for";
}

/// What is read before the value that cannot be read has been applied, what is read after it has not.
TEST_F(StatusSteps, StopWhereAValueCannotBeRead) {
  for (const char* misfit : {R"("cookie":{})", R"("volSpace":{})", R"("oru_pkg_status":{})"}) {
    EXPECT_THAT(ChangesBefore(misfit), IsEmpty());
  }
  EXPECT_THAT(ChangesBefore(R"("cookie":"read","cam_count":{})"), IsEmpty());
  EXPECT_EQ(record_.strCookie, "read");
  EXPECT_THAT(ChangesBefore(R"("face_info":[{"id":{}}])"), ElementsAre("update camera 1"));
  EXPECT_THAT(ChangesBefore(R"("recover_progress":{})"), testing::Contains("update axis_acs_ctrler 1"));
  EXPECT_THAT(ChangesBefore(R"("cms_locked":{})"), ElementsAre("update capability_file 1"));
}

struct Commands : support::HostTest {
  static int Send() {
    return ActRuledApi::SendCmd(ACTRULED_CMD_DEVICE_STATUS, DEVICE_SRC_REC_SERVER, "7", DEVICE_STATUS_DELETED, true, 9,
                                false);
  }
  static constexpr const char* kToDaemon =
      R"(message 9 qvactruled 6 {"onlyUpdateDevSts":true,"source":[{"id":"7","srcType":5,"status":3}],"zrId":9})";
  static constexpr const char* kToHost = R"(message 0 cms-host 3 {"cmdType":6,"data":{"onlyUpdateDevSts":true,)"
                                         R"("source":[{"id":"7","srcType":5,"status":3}],"zrId":9}})";
};

TEST_F(Commands, NameTheKindsThatHaveDevices) {
  Json::Value command;
  const std::list<int> none;
  CompoundSendCmd2ActRuled(none, none, none, DEVICE_STATUS_ENABLED, command);
  EXPECT_TRUE(command.isNull());
  CompoundSendCmd2ActRuled(std::list{1}, std::list{2}, std::list{3, 4}, DEVICE_STATUS_DISABLED, command);
  EXPECT_EQ(JsonWrite(command, true),
            R"({"source":[{"id":"1","srcType":0,"status":2},{"id":"2","srcType":2,"status":2},)"
            R"({"id":"3,4","srcType":3,"status":2}]})");
}

TEST_F(Commands, GoToTheDaemonAndFromAServerOfACmsToItsHost) {
  EXPECT_THAT(Journal([] { EXPECT_EQ(Send(), 0); }), ElementsAre(kToDaemon));
  Sql("INSERT INTO setting (name,text) VALUES ('cms_identity','rec-server')");
  EXPECT_THAT(Journal([] { EXPECT_EQ(Send(), 0); }), ElementsAre(kToDaemon, kToHost));
  Refuse("INSERT", "message", "NEW.target='qvactruled'");
  EXPECT_THAT(Without(Journal([] { EXPECT_EQ(Send(), -1); }), "failed"), ElementsAre(kToHost));
}

}  // namespace
