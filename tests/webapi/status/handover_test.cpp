/// Which steps a status report reaches, through the export.
#include <regex>

#include "qvwebapicmssyncutils.h"
#include "slavezr.h"
#include "statustest.h"

namespace {

using support::Parse;
using testing::ElementsAre;

class HandoverTest : public StatusTest {
 protected:
  HandoverTest() {
    const Json::Value snapshot = Parse(R"({"camera_info":[{"id":1}],
        "iva_info":[{"id":1,"camera_id":1,"name":"a"}],
        "face_info":[{"id":5,"camera_id":1,"name":"f"}],
        "iomodule_info":[{"id":1}],"POS_info":[{"id":1}],"speaker_info":[{"id":1}],"ctrler_info":[{"id":1}]})");
    SaveSlaveInfoUpdate(SlaveZR(), snapshot, 7);
  }
};

/// A report that changes something of every kind, with `value` wherever it can.
std::string ReportOfEverything(int value) {
  constexpr const char* kReport = R"({"status":1,"ctrler_info":[{"id":1,"status":@}],
      "speaker_info":[{"id":1,"status":@}],"POS_info":[{"id":1,"status":@}],"iomodule_info":[{"id":1,"status":@}],
      "iva_info":[{"id":1,"camera_id":1,"name":"@"}],"face_info":[{"id":5,"camera_id":1,"name":"@"}],
      "camera_info":[{"id":1,"stream_profile1":@}],
      "camCapList":[{"camVendor":"V","camModel":"M","capFileName":"3/V/M.cap","camCap":@}]})";
  return std::regex_replace(kReport, std::regex("@"), std::to_string(value));
}

TEST_F(HandoverTest, StepsComeInOrderAndAFailedMessageStopsNone) {
  const auto steps = [this](int value) {
    support::Lines lines;
    for (const std::string& line : Report(ReportOfEverything(value), 3)) {
      const bool is_message = line.starts_with("message") || line.starts_with("failed to send message");
      const std::string words = line.substr(0, line.find(' ', line.find(' ', line.find(' ') + 1) + 1));
      lines.push_back(is_message ? "message" : words);
      if (words.starts_with("insert staged_file")) break;
    }
    return lines;
  };
  const testing::Matcher<support::Lines> in_order = ElementsAre(
      "execute UPDATE camera", "message", "update face_task 1", "update iva_task 1", "execute UPDATE iomodule",
      "message", "execute UPDATE pos", "message", "message", "execute UPDATE ipspeaker", "message", "message",
      "update axis_acs_ctrler 1", "insert staged_file capability/7/V/M.cap");
  EXPECT_THAT(steps(8), in_order);
  Refuse("INSERT", "message");
  EXPECT_THAT(steps(9), in_order);
}

// An empty section of tasks is handed over, as those of terminals and controllers are, which do nothing then.
TEST_F(HandoverTest, UnreadableTablesConcernTheirStepsAlone) {
  for (const char* table : {"camera", "face_task", "iva_task", "iomodule", "pos", "ipspeaker", "axis_acs_ctrler"}) {
    Break(table);
  }
  EXPECT_THAT(Report(R"({"status":1,"camera_info":[],"face_info":[],"iva_info":[],"iomodule_info":[],"POS_info":[],
                         "speaker_info":[],"ctrler_info":[]})"),
              ElementsAre("failed to list camera [0]", "log 1 UpdateFaceInfo Failed to get cam map of ZR [7].",
                          "failed to list camera [0]", "log 1 UpdateIvaInfo Failed to get cam map of ZR [7]."));
  EXPECT_THAT(Report(ReportOfEverything(8)),
              ElementsAre("failed to list camera [0]", "log 1 UpdateCamInfo Failed to get cam map of ZR [7].",
                          "failed to list camera [0]", "log 1 UpdateFaceInfo Failed to get cam map of ZR [7].",
                          "failed to list camera [0]", "log 1 UpdateIvaInfo Failed to get cam map of ZR [7].",
                          "failed to list iomodule [0]", "failed to list pos [0]", "failed to list ipspeaker [0]",
                          "failed to list axis_acs_ctrler [0]", "failed to list camera [0]",
                          "insert staged_file capability/7/V/M.cap", "insert capability_file 1",
                          "delete staged_file WHERE id <= 1"));
}

}  // namespace
