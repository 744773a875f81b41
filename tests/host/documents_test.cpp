/// What the host makes of documents: their kind, what is wrong in them, which entries it cannot use.

#include "scratchhost.h"

namespace {

using qv::Document;

TEST(DocumentTest, KindFollowsFromTheMembers) {
  const std::string is_report = "wrong-document-kind: this is a status report, not a configuration snapshot";
  const std::string is_snapshot = "wrong-document-kind: this is a configuration snapshot, not a status report";
  const std::string no_section = "empty-document: no section that a snapshot has";
  const std::string no_member = "empty-document: nothing that a status report has";
  const std::string no_status = "wrong-type: status: every status report has it";
  const struct {
    const char* text;
    std::string as_snapshot;  ///< how the refusal begins; empty: there is none
    std::string as_report;
  } cases[] = {
      // Without anything that tells, it is the snapshot of a server that has nothing else.
      {R"({"camera_info":[]})", "", is_snapshot},
      // A name is configuration, beside a state too.
      {R"({"camera_info":[{"id":1,"name":"Lobby","status":1}]})", "", is_snapshot},
      {R"({"status":1,"cam_count":2,"recShare":[]})", "", is_snapshot},
      // Reports, and what is left of them without the server's members.
      {R"({"status":1})", is_report, ""},
      {R"({"status":1,"camera_info":[{"id":1,"status":1,"temperature":40}]})", is_report, ""},
      {R"({"camera_info":[{"id":1,"rtsp_key":"k"}],"speaker_info":[]})", is_report, no_status},
      // Answers of other kinds.
      {R"({"status":"error"})", no_section, no_member},
      {R"({"error":"unauthorized"})", no_section, no_member},
  };
  for (const auto& [text, as_snapshot, as_report] : cases) {
    const Document document = Document::Parse(text);
    const std::string snapshot = RefusalOf([&] { document.RequireSnapshot(); });
    const std::string report = RefusalOf([&] { document.RequireStatusReport(); });
    EXPECT_THAT(snapshot, testing::StartsWith(as_snapshot)) << text;
    EXPECT_THAT(report, testing::StartsWith(as_report)) << text;
    EXPECT_EQ(snapshot.empty(), as_snapshot.empty()) << text;
    EXPECT_EQ(report.empty(), as_report.empty()) << text;
  }
  Document::Parse(R"({"error":"unauthorized"})").RequireSnapshot(true);
}

TEST(DocumentTest, NamesTheValueThatHasTheWrongType) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"status":1.5})", "status: an integer"},
      {R"({"status":1,"cms_locked":{}})", "cms_locked: a text"},
      {R"({"status":1,"POS_info":[{},{"status":"x"}]})", "POS_info[1].status: an integer"},
      {R"({"status":1,"ctrler_info":[{"door":[7]}]})", "ctrler_info[0].door[0]: an object"},
      {R"({"camera_info":"x"})", "camera_info: an array"},
      {R"({"camCapList":[{"camModel":{}}]})", "camCapList[0].camModel: a text"},
      {R"({"POS_info":[],"camDetSetting":null})", "camDetSetting: an array"}};
  for (const auto& [text, fault] : cases) {
    const Document document = Document::Parse(text);
    const bool is_report = document.kind() == qv::DocumentKind::StatusReport;
    EXPECT_EQ(RefusalOf([&] { is_report ? document.RequireStatusReport() : document.RequireSnapshot(); }),
              std::string("wrong-type: ") + fault + " is expected; nothing was applied");
  }
  Document::Parse(R"({"camera_info":[{"id":null}],"ctrler_info":[{"door":null}],"recShare":[5]})").RequireSnapshot();
}

TEST_F(HostApiTest, TellsWhichEntriesWereNotUsed) {
  const Document document = Document::Parse(R"({
      "camera_info":[{"id":1}],"POS_info":[{"id":1,"port":"x"}],"speaker_info":[{"id":1,"port":[]}],
      "camCapList":[{"camVendor":"v","camModel":"m"},{"camVendor":"v","camModel":"m","capFileName":"7/v"},
        {"camVendor":"v","camModel":"m","capFileName":"../x","camCap":{}}],
      "iva_info":[{"id":1,"camera_id":1},{"id":2,"camera_id":9}],"face_info":[{"id":1,"camera_id":9}],
      "counting_widget_info":[{"id":1,"iva_setting_id":1,"type":2,"fence":[{"x":0,"y":0},{"x":1,"y":1}]},
        {"id":2,"iva_setting_id":1,"type":2,"fence":[{"x":0,"y":0}]},{"id":3,"iva_setting_id":1,"type":1},
        {"id":4,"iva_setting_id":2,"type":1},{"id":5,"iva_setting_id":1,"type":7}],
      "counting_task_group_info":[{"id":1,"widget_ids":[1,2]},{"id":"x"}]})");
  qv::Host& host = Open();
  for (const qv::ImportResult& result : {host.Plan(7, document), host.Pair(7, document), host.Update(7, document)}) {
    std::vector<std::string> unused;
    for (const auto& [place, reason] : result.unused) unused.push_back(place + ": " + reason);
    EXPECT_THAT(unused, testing::ElementsAre(
                            "camCapList[0].capFileName: it is missing", "camCapList[1].camCap: it is missing",
                            "camCapList[2].capFileName: its name is refused: it does not begin with the id of a server",
                            "POS_info[0]: a member has the wrong type; the log names it",
                            "speaker_info[0]: a member has the wrong type; the log names it",
                            "iva_info[1].camera_id: server 7 has no camera 9",
                            "face_info[0].camera_id: server 7 has no camera 9",
                            "counting_widget_info[1]: it is no fence of two points or more",
                            "counting_widget_info[2]: it is no region of three points or more",
                            "counting_widget_info[3].iva_setting_id: server 7 has no IVA task 2",
                            "counting_widget_info[4].type: there is no such type of widget",
                            "counting_task_group_info[0].widget_ids[1]: server 7 has no widget 2",
                            "counting_task_group_info[1]: a member has the wrong type"));
  }
}

}  // namespace
