#include <json/value.h>

#include "db/database.h"
#include "qvwebapicmssyncutils.h"
#include "slavezrstatus.h"
#include "support/hosttest.h"

namespace {

using support::Lines;
using support::Parse;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kFull = R"({"status":1,"pkg_status":2,"vol_status":3,"cam_count":4,"iomodule_count":5,
  "trans_dev_count":6,"speaker_dev_count":7,"acs_door_count":8,"volSpace":9.5,"is_beta":false,"cms_locked":"true",
  "cms_masked":"true","has_aac":true,"has_hevc":true,"oru_pkg_status":10,"recEncryptEnabled":true,"cookie":"c",
  "serial_num":"s","tarn_version":"t","qv_version":"q","dp_version":"d","recover_progress":11})";

class SlaveStatus : public support::HostTest {
 protected:
  SlaveStatus() { record_.ZrId = 7; }
  Lines Report(const std::string& document, int level = 7) {
    return Journal([&] { EXPECT_EQ(SaveSlaveStatus(Parse(document), record_), 0); }, level);
  }
  SlaveZRStatus record_;
};

TEST_F(SlaveStatus, FillsTheRecordAndSaysSo) {
  record_.LoginError = 12;
  EXPECT_THAT(
      Report(kFull),
      ElementsAre("log 7 SaveSlaveStatus ZrInfo: ZrId: [7], Status: [1], VolStatus: [3], PkgStatus: [2], CamCnt: [4], "
                  "DoorCnt: [8], VolSpace: [9.500000], blCmsLocked: [1], blCmsMasked: [1], LoginError: [12], "
                  "strCookie: [c], strSerialNum: [s], strTarnVersion: [t], strQVVersion: [q], isBeta: [0], "
                  "strDPVersion: [d], RecoverProgress: [11],blHasAAC: [1], blHasHEVC: [1], ORUPkgStatus: [10], "
                  "blRecEncryptEnabled: [1]."));
  EXPECT_EQ(record_.IOModCnt, 5);
  EXPECT_EQ(record_.TransDevCnt, 6);
  EXPECT_EQ(record_.SpeakerDevCnt, 7);
  EXPECT_THAT(Report(kFull, 5), IsEmpty());
}

TEST_F(SlaveStatus, KnowsWhatAnAbsentMemberMeans) {
  Report(kFull);
  Report("{}");  // no status: offline, so what belongs to devices stays
  EXPECT_THAT(Report("{}"),
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

TEST_F(SlaveStatus, LeavesTheDevicesOfASlaveAloneThatIsOffline) {
  Sql("INSERT INTO pos (id,owner_zr_id,id_on_rec_server) VALUES (3,7,1)");
  for (const char* status : {"0", "2", "3", "5", "-1"}) {
    EXPECT_THAT(Report("{\"cms_masked\":\"true\",\"POS_info\":[{\"id\":1,\"status\":2}],\"status\":" +
                           std::string(status) + "}",
                       5),
                IsEmpty())
        << status;
    EXPECT_TRUE(record_.blCmsMasked);
  }
}

TEST_F(SlaveStatus, ATypeThatCannotBeReadUndoesTheUnitOfWork) {
  Sql("INSERT INTO pos (id,owner_zr_id,id_on_rec_server) VALUES (3,7,1)");
  record_.CamCnt = 5;
  EXPECT_THROW(SaveSlaveStatus(Parse(R"({"status":1,"cookie":"new","cam_count":{}})"), record_), Json::Exception);
  EXPECT_EQ(record_.Status, 1);
  EXPECT_EQ(record_.strCookie, "new");
  EXPECT_EQ(record_.CamCnt, 5);
  {
    qv::db::UnitOfWork work;
    const Json::Value report =
        Parse(R"({"status":1,"POS_info":[{"id":1,"status":2}],"speaker_info":[{"id":1},{"id":[]}]})");
    EXPECT_THROW(SaveSlaveStatus(report, record_), Json::Exception);
    EXPECT_THAT(Rows("SELECT status FROM pos"), ElementsAre("2"));
  }
  EXPECT_THAT(Rows("SELECT status FROM pos"), ElementsAre("0"));
  EXPECT_THAT(Rows("SELECT * FROM message"), IsEmpty());
}

}  // namespace
