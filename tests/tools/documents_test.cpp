/// What qvcms makes of the documents that it is given: which kind they are, what is wrong in them, what cannot be used.

#include "toolrunner.h"

namespace qv::test {
namespace {

using testing::HasSubstr;

constexpr const char* kIsReport = "this is a status report, not a configuration snapshot";
constexpr const char* kIsSnapshot = "this is a configuration snapshot, not a status report";

TEST_F(ToolTest, TellsSnapshotsFromStatusReports) {
  ASSERT_EQ(Shell("echo '{\"camera_info\":[]}' | QVCMS_DATA_DIR=data '" QVCMS_PATH "' pair 7 -").status, 0);
  struct Case {
    const char* document;
    const char* update;  ///< why update refuses it; empty: it takes it
    const char* status;  ///< why status refuses it
  };
  const Case cases[] = {
      // Documents without anything that tells are snapshots of a server that has nothing else.
      {R"({"camera_info":[]})", "", kIsSnapshot},
      {R"({"POS_info":[{"id":1}]})", "", kIsSnapshot},
      {R"({"face_info":[]})", "", kIsSnapshot},
      // A name is configuration, beside a state and in an envelope too.
      {R"({"camera_info":[{"id":1,"name":"Lobby","status":1}]})", "", kIsSnapshot},
      {R"({"status":0,"POS_info":[{"id":1},{"id":2,"password":"x"}]})", "", kIsSnapshot},
      {R"({"status":1,"cam_count":2,"recShare":[]})", "", kIsSnapshot},
      // Reports, and what is left of them when the server's members are cut off.
      {R"({"status":1})", kIsReport, ""},
      {R"({"status":1,"cam_count":2,"camera_info":[{"id":1,"name":"Lobby"}]})", kIsReport, ""},
      {R"({"status":1,"camera_info":[{"id":1,"status":1,"temperature":40}]})", kIsReport, ""},
      {R"({"camera_info":[{"id":1,"rtsp_key":"k"}],"speaker_info":[]})", kIsReport,
       "status: every status report has it"},
      {R"({"ctrler_info":[{"id":1,"mac_addr":"m"}]})", kIsReport, "status: every status report has it"},
      {R"({"cam_count":2,"camera_info":[]})", kIsReport, "status: every status report has it"},
      // Answers of other kinds.
      {R"({"status":"error"})", "no section that a snapshot has", "nothing that a status report has"},
      {R"({"error":"unauthorized"})", "no section that a snapshot has", "nothing that a status report has"},
  };
  for (const auto& [document, update, status] : cases) {
    Write("document", document);
    for (const auto& [command, refusal] : {std::pair("update 7 document", update), {"status 7 document", status}}) {
      const Result result = Run(command);
      EXPECT_EQ(result.status, *refusal == '\0' ? 0 : 65) << command << ": " << document << result.err;
      EXPECT_THAT(result.err, HasSubstr(refusal)) << document;
    }
  }
  Write("document", R"({"status":1})");
  EXPECT_THAT(Run("update 7 document").err, HasSubstr("If that is meant: qvcms status 7 document\n"));
  Write("document", R"({"recShare":[]})");
  EXPECT_THAT(Run("status 7 document").err, HasSubstr("If that is meant: qvcms update 7 document\n"));
}

TEST_F(ToolTest, NamesWhatHasTheWrongType) {
  struct Case {
    const char* command;
    const char* document;
    const char* fault;
  };
  const Case cases[] = {
      {"status", R"({"status":1,"camera_info":"x"})", "camera_info: an array is expected"},
      {"status", R"({"status":1,"camCapList":5})", "camCapList: an array is expected"},
      {"status", R"({"status":1.5})", "status: an integer is expected"},
      {"status", R"({"status":0,"volSpace":"x"})", "volSpace: a number is expected"},
      {"status", R"({"status":0,"has_aac":[]})", "has_aac: true or false is expected"},
      {"status", R"({"status":0,"cms_locked":{}})", "cms_locked: a text is expected"},
      {"status", R"({"status":1,"iomodule_info":[5]})", "iomodule_info[0]: an object is expected"},
      {"status", R"({"status":1,"POS_info":[{},{"status":"x"}]})", "POS_info[1].status: an integer is expected"},
      {"status", R"({"status":1,"ctrler_info":[{"door":[7]}]})", "ctrler_info[0].door[0]: an object is expected"},
      {"update", R"({"camera_info":[{"id":2.5}]})", "camera_info[0].id: an integer is expected"},
      {"update", R"({"iva_info":[{"camera_id":"x"}]})", "iva_info[0].camera_id: an integer is expected"},
      {"update", R"({"camCapList":[{"camModel":{}}]})", "camCapList[0].camModel: a text is expected"},
      {"update", R"({"counting_widget_info":[{"type":[]}]})", "counting_widget_info[0].type: an integer is expected"},
      {"update", R"({"recShare":{}})", "recShare: an array is expected"},
  };
  for (const auto& [command, document, fault] : cases) {
    Write("document", document);
    const Result result = Run(std::string(command) + " 7 document");
    EXPECT_EQ(result.status, 65) << document;
    EXPECT_EQ(result.err, std::string("qvcms: document: ") + fault + "; nothing was applied\n");
  }
}

TEST_F(ToolTest, TellsWhichEntriesWereNotUsed) {
  Write("document", R"({"camera_info":[{"id":1}],"POS_info":[{"id":1,"port":"x"}],"speaker_info":[{"id":1,"port":[]}],
      "camCapList":[{"camVendor":"v","camModel":"m"},{"camVendor":"v","camModel":"m","capFileName":"../x","camCap":{}}],
      "iva_info":[{"id":1,"camera_id":1},{"id":2,"camera_id":9}],"face_info":[{"id":1,"camera_id":9}],
      "counting_widget_info":[{"id":1,"iva_setting_id":1,"type":2,"fence":[{"x":0,"y":0},{"x":1,"y":1}]},
        {"id":2,"iva_setting_id":1,"type":2,"fence":[{"x":0,"y":0}]},{"id":3,"iva_setting_id":1,"type":1},
        {"id":4,"iva_setting_id":2,"type":1},{"id":5,"iva_setting_id":1,"type":7}],
      "counting_task_group_info":[{"id":1,"widget_ids":[1,2]},{"id":"x"}]})");
  const char* const expected[] = {
      "camCapList[0].capFileName: it is missing",
      "camCapList[1].capFileName: its name is refused: it does not begin with the id of a server",
      "POS_info[0]: a member has the wrong type; the log names it",
      "speaker_info[0]: a member has the wrong type; the log names it",
      "iva_info[1].camera_id: server 7 has no camera 9",
      "face_info[0].camera_id: server 7 has no camera 9",
      "counting_widget_info[1]: it is no fence of two points or more",
      "counting_widget_info[2]: it is no region of three points or more",
      "counting_widget_info[3].iva_setting_id: server 7 has no IVA task 2",
      "counting_widget_info[4].type: there is no such type of widget",
      "counting_task_group_info[0].widget_ids[1]: server 7 has no widget 2",
      "counting_task_group_info[1]: a member has the wrong type"};
  for (const char* const command : {"plan", "pair", "update"}) {
    std::vector<std::string> unused;
    for (const Json::Value& row : RunJson(command + std::string(" 7 document"))) {
      if (row["kind"] == "unused-entry") unused.push_back(row["place"].asString() + ": " + row["reason"].asString());
    }
    EXPECT_THAT(unused, testing::ElementsAreArray(expected)) << command;
  }
  EXPECT_THAT(Run("update 7 document").out, HasSubstr("\n\n12 entries were not used:\nplace "));
  Write("document", R"({"status":1,"face_info":[{"id":1,"camera_id":9}]})");
  EXPECT_THAT(Run("status 7 document").out, HasSubstr("\n\n1 entry was not used:\nplace "));
  EXPECT_EQ(RunJson("status 7 document")["unused_entries"]["face_info[0].camera_id"], "server 7 has no camera 9");
}

}  // namespace
}  // namespace qv::test
