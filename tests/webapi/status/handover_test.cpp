/// Which steps a status report reaches, through the export.
#include "qvwebapicmssyncutils.h"
#include "slavezr.h"
#include "statustest.h"

namespace {

using support::Parse;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class HandoverTest : public StatusTest {
 protected:
  HandoverTest() {
    const Json::Value snapshot = Parse(R"({"camera_info":[{"id":1}],
        "iva_info":[{"id":1,"camera_id":1,"name":"a"},{"id":2,"camera_id":1}],
        "face_info":[{"id":5,"camera_id":1,"name":"f"}]})");
    SaveSlaveInfoUpdate(SlaveZR(), snapshot, 7);
  }
};

TEST_F(HandoverTest, TasksAreUpdatedAndNeitherAddedNorDeleted) {
  EXPECT_THAT(Report(R"({"status":1,"face_info":[{"id":5,"camera_id":1,"name":"g"}],
                         "iva_info":[{"id":1,"camera_id":1,"name":"b"},{"id":3,"camera_id":1}]})"),
              ElementsAre("log 5 UpdateFaceInfo Face Task[1] info changed.", "update face_task 1",
                          "log 5 UpdateIvaInfo Iva Task[1] info changed.", "update iva_task 1"));
  EXPECT_THAT(Rows("SELECT name FROM iva_task ORDER BY id"), ElementsAre("b", ""));
}

TEST_F(HandoverTest, AnOfflineReportBringsItsCapabilityFilesAlone) {
  EXPECT_THAT(Report(R"({"status":0,"camera_info":[{"id":1,"status":9}],"iva_info":[{"id":1,"camera_id":1,"name":"b"}],
                         "camCapList":[{"camVendor":"V","camModel":"M","capFileName":"3/V/M.cap","camCap":{}}]})"),
              Contains("insert capability_file 1"));
  EXPECT_TRUE(std::filesystem::exists(folder() / "capability/7/V/M.cap"));
  EXPECT_THAT(Rows("SELECT id FROM camera WHERE status=9"), IsEmpty());
  EXPECT_THAT(Rows("SELECT id FROM iva_task WHERE name='b'"), IsEmpty());
}

}  // namespace
