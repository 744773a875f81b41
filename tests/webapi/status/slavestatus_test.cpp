#include <json/value.h>

#include "slavezr.h"
#include "status/actruledapi.h"
#include "statustest.h"

namespace {

using support::Parse;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kFull = R"({"status":1,"pkg_status":2,"vol_status":3,"cam_count":4,"iomodule_count":5,
  "trans_dev_count":6,"speaker_dev_count":7,"acs_door_count":8,"volSpace":9.5,"is_beta":false,"cms_locked":"true",
  "cms_masked":"true","has_aac":true,"has_hevc":true,"oru_pkg_status":10,"recEncryptEnabled":true,"cookie":"c",
  "serial_num":"s","tarn_version":"t","qv_version":"q","dp_version":"d","recover_progress":11})";

class SlaveStatus : public StatusTest {};

TEST_F(SlaveStatus, FillsTheRecordAndSaysSo) {
  record_.LoginError = 12;
  EXPECT_THAT(
      Report(kFull, 7),
      ElementsAre("log 7 SaveSlaveStatus ZrInfo: ZrId: [7], Status: [1], VolStatus: [3], PkgStatus: [2], CamCnt: [4], "
                  "DoorCnt: [8], VolSpace: [9.500000], blCmsLocked: [1], blCmsMasked: [1], LoginError: [12], "
                  "strCookie: [c], strSerialNum: [s], strTarnVersion: [t], strQVVersion: [q], isBeta: [0], "
                  "strDPVersion: [d], RecoverProgress: [11],blHasAAC: [1], blHasHEVC: [1], ORUPkgStatus: [10], "
                  "blRecEncryptEnabled: [1]."));
  EXPECT_EQ(record_.IOModCnt, 5);
  EXPECT_EQ(record_.TransDevCnt, 6);
  EXPECT_EQ(record_.SpeakerDevCnt, 7);
  EXPECT_THAT(Report(kFull), IsEmpty());
}

TEST_F(SlaveStatus, KnowsWhatAnAbsentMemberMeans) {
  Report(kFull);
  Report("{}");  // no status: offline, so what belongs to devices stays
  EXPECT_THAT(Report("{}", 7),
              ElementsAre("log 7 SaveSlaveStatus ZrInfo: ZrId: [7], Status: [0], VolStatus: [0], PkgStatus: [0], "
                          "CamCnt: [4], DoorCnt: [8], VolSpace: [9.500000], blCmsLocked: [0], blCmsMasked: [0], "
                          "LoginError: [0], strCookie: [], strSerialNum: [], strTarnVersion: [], strQVVersion: [], "
                          "isBeta: [1], strDPVersion: [], RecoverProgress: [11],blHasAAC: [1], blHasHEVC: [1], "
                          "ORUPkgStatus: [10], blRecEncryptEnabled: [0]."));
  Report(R"({"status":4})");
  EXPECT_EQ(record_.VolSpace, -1.0);
  EXPECT_EQ(record_.CamCnt, 0);
  EXPECT_EQ(record_.RecoverProgress, 0);
  for (const char* not_true : {"\"TRUE\"", "\"1\"", "1", "true", "\"true \"", "null"}) {
    record_.blCmsLocked = true;
    Report("{\"cms_locked\":" + std::string(not_true) + "}");
    EXPECT_FALSE(record_.blCmsLocked) << not_true;
  }
}

TEST_F(SlaveStatus, ATypeThatCannotBeReadStopsTheReport) {
  record_.CamCnt = 5;
  EXPECT_THROW(SaveSlaveStatus(Parse(R"({"status":1,"cookie":"new","cam_count":{}})"), record_), Json::Exception);
  EXPECT_EQ(record_.Status, 1);
  EXPECT_EQ(record_.strCookie, "new");
  EXPECT_EQ(record_.CamCnt, 5);
}

/// A task of each kind, and one more.
void HoldTasks() {
  SaveSlaveInfoUpdate(SlaveZR(), Parse(R"({"camera_info":[{"id":1}],"face_info":[{"id":5,"camera_id":1,"name":"f"}],
                                          "iva_info":[{"id":1,"camera_id":1,"name":"a"},{"id":2,"camera_id":1}]})"),
                      7);
}

TEST_F(SlaveStatus, TasksAreUpdatedAndNeitherAddedNorDeleted) {
  HoldTasks();
  EXPECT_THAT(Report(R"({"status":1,"face_info":[{"id":5,"camera_id":1,"name":"g"}],
                         "iva_info":[{"id":1,"camera_id":1,"name":"b"},{"id":3,"camera_id":1}]})"),
              ElementsAre("log 5 UpdateFaceInfo Face Task[1] info changed.", "update face_task 1",
                          "log 5 UpdateIvaInfo Iva Task[1] info changed.", "update iva_task 1"));
  EXPECT_THAT(Rows("SELECT name FROM iva_task ORDER BY id"), ElementsAre("b", ""));
}

TEST_F(SlaveStatus, AnOfflineReportBringsItsCapabilityFilesAlone) {
  HoldTasks();
  Sql("INSERT INTO pos (owner_zr_id,id_on_rec_server) VALUES (7,1)");
  const std::string sections = R"({"cms_masked":"true","camera_info":[{"id":1,"status":9}],
      "POS_info":[{"id":1,"status":2}],"iva_info":[{"id":1,"camera_id":1,"name":"b"}],
      "camCapList":[{"camVendor":"V","camModel":"M","capFileName":"3/V/M.cap","camCap":{}}],"status":)";
  EXPECT_THAT(Report(sections + "0}"), ElementsAre("insert staged_file capability/7/V/M.cap",
                                                   "insert capability_file 1", "delete staged_file WHERE id <= 1"));
  for (const char* status : {"2", "3", "5", "-1"}) EXPECT_THAT(Report(sections + status + "}"), IsEmpty()) << status;
  EXPECT_TRUE(record_.blCmsMasked);
}

TEST_F(SlaveStatus, CommandsAreForwardedWhenTheServerBelongsToACms) {
  const auto send = [] {
    return ActRuledApi::SendCmd(ACTRULED_CMD_DEVICE_STATUS, DEVICE_SRC_REC_SERVER, "7", DEVICE_STATUS_DELETED, false, 0,
                                false);
  };
  const std::string command = R"({"onlyUpdateDevSts":false,"source":[{"id":"7","srcType":5,"status":3}],"zrId":0})";
  EXPECT_THAT(Journal([&] { EXPECT_EQ(send(), 0); }), ElementsAre("message 0 qvactruled 6 " + command));
  Sql("INSERT INTO setting (name,text) VALUES ('cms_identity','rec-server')");
  EXPECT_THAT(
      Journal([&] { EXPECT_EQ(send(), 0); }),
      ElementsAre("message 0 qvactruled 6 " + command, R"(message 0 cms-host 3 {"cmdType":6,"data":)" + command + "}"));
  // The result is the daemon's; the forwarding is tried all the same.
  Refuse("INSERT", "message", "NEW.target='qvactruled'");
  EXPECT_THAT(
      Journal([&] { EXPECT_EQ(send(), -1); }),
      ElementsAre("failed to send message [0]", R"(message 0 cms-host 3 {"cmdType":6,"data":)" + command + "}"));
}

}  // namespace
