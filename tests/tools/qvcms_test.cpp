/// qvcms as a shell sees it: exit status, standard output, standard error, and what is left in the data folder.

#include "toolrunner.h"

namespace qv::test {
namespace {

using testing::HasSubstr;

/// A document with `count` terminals, numbered from 1, and as many speakers as asked.
std::string Devices(int terminals, int speakers, const std::string& note = "") {
  const auto entries = [&](int count) {
    std::string text;
    for (int id = 1; id <= count; ++id) {
      text += (id > 1 ? "," : "") + std::string("{\"id\":") + std::to_string(id) + ",\"name\":\"device " +
              std::to_string(id) + "\",\"note\":\"" + note + "\"}";
    }
    return text;
  };
  return "{\"POS_info\":[" + entries(terminals) + "],\"speaker_info\":[" + entries(speakers) + "]}";
}

/// The line of `kind` in what pair, update and plan print, as "added updated removed unchanged".
std::string CountsOf(const Json::Value& report, const std::string& kind) {
  std::string counts;
  for (const Json::Value& line : report) {
    if (line["kind"] != kind) continue;
    for (const char* what : {"added", "updated", "removed", "unchanged"}) counts += line[what].asString() + ' ';
  }
  return counts;
}

TEST_F(ToolTest, RefusesWhatItCannotReadOrUse) {
  Write("broken", "{\n  \"POS_info\": [,]\n}");
  Write("trailing", "{}\n{}");
  Write("array", "[]");
  Write("id", "{\"POS_info\":[{\"id\":1},{\"id\":{}}]}");
  Write("entry", "{\"speaker_info\":[{},7]}");
  Write("text", R"({"camera_info":"x"})");
  Write("door", R"({"ctrler_info":[{},{"door":[{},1]}]})");
  Write("null", R"({"POS_info":[],"camDetSetting":null})");
  Write("answer", R"({"error":"unauthorized"})");
  Write("snapshot", R"({"POS_info":[]})");
  Write("report", R"({"status":1})");
  // Each with its exit status and the start of the one line on standard error.
  const std::tuple<const char*, int, const char*> cases[] = {
      {"update 7 missing", 65, "qvcms: missing: "},
      {"update 7 .", 65, "qvcms: .: "},
      {"update 7 broken", 65, "qvcms: broken:2:16: "},
      {"update 7 - <broken", 65, "qvcms: standard input:2:16: "},
      {"plan 7 trailing", 65, "qvcms: trailing:2:1: "},
      {"update 7 array", 65, "qvcms: array: the document must be a JSON object"},
      {"update 7 id --max-size 10", 65, "qvcms: id: "},
      {"update 7 id", 65, "qvcms: id: POS_info[1].id: an integer is expected; nothing was applied"},
      {"update 7 entry", 65, "qvcms: entry: speaker_info[1]: an object is expected"},
      {"update 7 text --allow-removals", 65, "qvcms: text: camera_info: an array is expected"},
      {"pair 7 door", 65, "qvcms: door: ctrler_info[1].door[1]: an object is expected"},
      {"pair 7 null", 65, "qvcms: null: camDetSetting: an array is expected"},
      {"pair 7 answer", 65, "qvcms: answer: no section that a snapshot has"},
      {"update 7 answer", 65, "qvcms: answer: no section that a snapshot has"},
      {"status 7 answer", 65, "qvcms: answer: nothing that a status report has"},
      {"pair 7 snapshot --log-file nowhere/log", 1, "qvcms: cannot open the log file nowhere/log: "},
      {"status 7 report", 1, "qvcms: server 7 is not known here, so nothing was applied: pair it first"},
  };
  for (const auto& [arguments, status, message] : cases) {
    const Result result = Run(arguments);
    EXPECT_EQ(result.status, status) << arguments;
    EXPECT_EQ(result.out, "") << arguments;
    EXPECT_THAT(result.err, testing::StartsWith(message)) << arguments;
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << arguments;
  }
  EXPECT_EQ(RunJson("list server").size(), 0U) << "nothing was applied";
}

TEST_F(ToolTest, TellsWrongUsage) {
  Write("document", "{}");
  for (const std::string& arguments :
       support::LinesOf("", "unknown", "list", "list teapot", "update 7", "update 0 document", "update x document",
                        "update 99999999999 document", "update 7 document --colour", "list pos -o xml",
                        "list pos --log-level 8", "list pos --data-dir ''", "plan 7 document --allow-removals",
                        "configuring pos 1 on", "configuring camera 1 1", "pair 010 document", "pair 0x10 document",
                        "list pos --zr +7", "list pos -o 1", "list pos --synchronous 0", "list pos --max-size 010",
                        "list pos --max-size 1KB", "list pos --max-size 99999999999G", "list pos --log-file ''",
                        "update 7 ''", "pair 7 document --model \"$(printf '\\377')\"")) {
    const Result result = Run(arguments);
    EXPECT_EQ(result.status, 64) << arguments;
    EXPECT_EQ(result.out, "") << arguments;
    EXPECT_EQ(result.err.substr(0, 7), "qvcms: ") << arguments;
  }
  const std::pair<const char*, const char*> messages[] = {
      {"list teapot", "pos, speaker"},
      {"--log-level 0 udpate 7 document", "unknown command 'udpate'; the commands are pair, update"},
      {"list pos one two", "not expected: one two"},
      {"--colour", "not expected: --colour"},
      {"list pos -o",
       "--output: its value is missing\nRun \"qvcms --help\" for the commands and options, \"qvcms list --help"},
      {"list pos -o json -o json", "--output: given twice"},
      {"list pos -o xml", "table,json"},
      {"list pos --log-level abc", "from 0 to 7"}};
  for (const auto& [arguments, message] : messages) {
    EXPECT_NE(Run(arguments).err.find(message), std::string::npos) << Run(arguments).err;
  }
  EXPECT_EQ(Run("list pos --max-size 1M").status, 0);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "data")) << "a wrong command line makes no data folder";
  for (const char* arguments : {"--help", "--version", "update --help", "list --help"}) {
    EXPECT_EQ(Run(arguments).status, 0) << arguments;
  }
}

TEST_F(ToolTest, AppliesASnapshotOnce) {
  Write("document", Devices(3, 2));
  EXPECT_EQ(CountsOf(RunJson("pair 7 document --model QVA-3216"), "pos"), "3 0 0 0 ");
  Write("document", Devices(2, 2, "moved"));
  EXPECT_EQ(CountsOf(RunJson("plan 7 document"), "pos"), "0 2 1 0 ");
  EXPECT_EQ(Run("plan --exit-code 7 document").status, 2);
  EXPECT_EQ(CountsOf(RunJson("update 7 document"), "pos"), "0 2 1 0 ");
  const Json::ArrayIndex messages = RunJson("list message").size();
  const Json::Value again = RunJson("update 7 - <document");
  EXPECT_EQ(CountsOf(again, "pos"), "0 0 0 2 ");
  EXPECT_EQ(CountsOf(again, "speaker"), "0 0 0 2 ");
  EXPECT_EQ(CountsOf(again, "server"), "0 0 0 1 ") << "the model given at pairing is remembered";
  EXPECT_EQ(Run("plan --exit-code 7 document").status, 0);

  EXPECT_EQ(RunJson("list message --zr 7").size(), 6U) << "pairing sends two, every update two, a plan none";
  EXPECT_EQ(RunJson("list message").size(), messages + 3) << "and the third goes to the message daemon";

  const Json::Value rows = RunJson("list pos --zr 7");
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[1]["id_on_rec_server"], 2);
  EXPECT_EQ(rows[1]["owner_zr_id"], 7);
  EXPECT_EQ(rows[1]["note"], "moved");
}

TEST_F(ToolTest, ConfiguringProtectsADevice) {
  Write("paired", R"({"camera_info":[{"id":4,"edgeStorage":{"size":64}}],"iomodule_info":[{"id":4}]})");
  Write("snapshot", R"({"camera_info":[{"id":4,"name":"new"}],"iomodule_info":[{"id":4,"name":"new"}]})");
  ASSERT_EQ(Run("pair 7 paired").status, 0);
  for (const std::string kind : {"camera", "iomodule"}) {
    EXPECT_EQ(Run("-o json configuring " + kind + " 1 on").out,
              "[\n{\"kind\":\"" + kind + "\",\"id\":1,\"configuring\":true}\n]\n");
    EXPECT_EQ(CountsOf(RunJson("plan 7 snapshot"), kind), "0 0 0 1 ");
    EXPECT_EQ(RunJson("list " + kind)[0]["device_status_flags"], 32);
    EXPECT_EQ(Run("configuring " + kind + " 1 off").status, 0);
    EXPECT_EQ(CountsOf(RunJson("plan 7 snapshot"), kind), "0 1 0 0 ");
    EXPECT_EQ(Run("configuring " + kind + " 9 on").err, "qvcms: there is no " + kind + " with the id 9\n");
  }
  Write("snapshot", R"({"camera_info":[{"id":5,"edgeStorage":{}}]})");
  ASSERT_EQ(Run("configuring camera 1 on").status, 0);
  EXPECT_EQ(CountsOf(RunJson("plan 7 snapshot"), "camera"), "1 0 1 0 ") << "the slave no longer has it";
  EXPECT_EQ(CountsOf(RunJson("plan 7 snapshot"), "edge-storage"), "1 0 1 0 ") << "it goes with its camera";
}

TEST_F(ToolTest, PlanLeavesTheHostAsItWas) {
  Write("document", Devices(3, 2));
  Write("report", R"({"status":1})");
  const auto look = [&] {
    EXPECT_EQ(Run("plan 7 document").status, 0);
    EXPECT_EQ(RunJson("list server").size(), 0U);
    EXPECT_EQ(Run("remove 7").out, "nothing was held for server 7\n");
    EXPECT_EQ(Run("status 7 report").status, 1);
    EXPECT_EQ(Run("configuring camera 1 on").status, 1);
  };
  look();
  EXPECT_FALSE(std::filesystem::exists(folder_ / "data"));
  std::filesystem::create_directories(folder_ / "data/lost+found");
  Write("data/qvcms.db", "");
  const auto unused = support::DumpFiles(folder_ / "data");
  look();
  EXPECT_EQ(support::DumpFiles(folder_ / "data"), unused);
  std::filesystem::remove_all(folder_ / "data");

  ASSERT_EQ(Run("pair 7 document").status, 0);
  const auto state = [&] {
    return std::pair(support::DumpDatabase(folder_ / "data"), support::DumpFiles(folder_ / "data"));
  };
  const auto before = state();
  Write("wrong", "{\"POS_info\":[{\"id\":9},{\"id\":[]}]}");
  Write("document", R"({"camera_info":[{"id":1}],"camCapList":[{"camVendor":"v","camModel":"m",
                        "capFileName":"0/v/m.cap","camCap":{}}]})");
  EXPECT_EQ(Run("plan 7 document --log-level 7 --log-file log").status, 0);
  EXPECT_GT(std::filesystem::file_size(folder_ / "log"), 0U);
  Write("answer", R"({"error":"unauthorized"})");
  const Result plan = Run("--log-level 0 plan --exit-code 7 answer");
  EXPECT_EQ(plan.status, 2);
  EXPECT_EQ(plan.err, "qvcms: update would refuse this without --allow-removals: no section of a snapshot\n");
  EXPECT_EQ(Run("plan 7 wrong").status, 65);
  EXPECT_EQ(Run("update 7 wrong").status, 65);
  EXPECT_TRUE(state() == before);
}

TEST_F(ToolTest, PlanLeavesNothingBehindWhenItIsKilled) {
  Write("document", Devices(2000, 0));
  // Nobody reads its log, so it stops in the middle of its work.
  const Result killed = Shell("mkdir tmp && mkfifo pipe && { TMPDIR=tmp '" QVCMS_PATH
                              "' --log-level 7 plan 7 document 2>pipe & } && exec 3<pipe && "
                              "until [ -e tmp/*/writer.lock ]; do sleep 0.01; done; kill $! && wait $!");
  EXPECT_EQ(killed.status, 128 + SIGTERM) << killed.err;
  EXPECT_TRUE(std::filesystem::is_empty(folder_ / "tmp"));
}

TEST_F(ToolTest, AsksBeforeItRemovesMostDevices) {
  const std::array<std::string, 3> cases[] = {
      {Devices(9, 0), Devices(0, 0), ""},
      {Devices(10, 0), Devices(5, 0), ""},
      {Devices(10, 0), Devices(4, 0), "6 of 10 pos, 6 of 10 devices in all"},
      {Devices(9, 9), Devices(0, 9), ""},
      {Devices(9, 9), Devices(0, 8), "10 of 18 devices in all"},
      {Devices(0, 12), Devices(12, 0), "12 of 12 speaker, 12 of 12 devices in all"},
  };
  int zr = 0;
  for (const auto& [before, after, refusal] : cases) {
    const std::string slave = std::to_string(++zr);
    Write("before", before);
    Write("after", after);
    ASSERT_EQ(Run("pair " + slave + " before").status, 0);
    const Result plan = Run("--log-level 2 plan " + slave + " after");
    const Result update = Run("--log-level 2 update " + slave + " after");
    EXPECT_EQ(plan.status, 0) << slave;
    EXPECT_EQ(update.status, refusal.empty() ? 0 : 1) << slave << update.err;
    EXPECT_EQ(plan.err.empty(), refusal.empty()) << slave << plan.err;
    EXPECT_THAT(plan.err, HasSubstr(refusal));
    if (!refusal.empty()) {
      EXPECT_THAT(update.err, testing::AllOf(HasSubstr(refusal), HasSubstr("--allow-removals")));
      EXPECT_EQ(update.out, "") << slave;
      EXPECT_EQ(Run("plan --exit-code " + slave + " before").status, 0) << slave << ": something was applied";
      EXPECT_EQ(Run("--log-level 2 update --allow-removals " + slave + " after").status, 0) << slave;
    }
    EXPECT_EQ(Run("plan --exit-code " + slave + " after").status, 0) << slave << ": it was not applied";
  }
}

TEST_F(ToolTest, StoresAStatusReport) {
  Write("document", R"({"camera_info":[{"id":1}],"POS_info":[{"id":1},{"id":2}],"ctrler_info":[{"id":1}]})");
  ASSERT_EQ(Run("pair 7 document").status, 0);
  Write("report", R"({"status":1,"cam_count":12,"qv_version":"9.1","cookie":"c","POS_info":[{"id":2,"status":3}]})");
  const Json::Value record = RunJson("status 7 report");
  EXPECT_EQ(record["CamCnt"], 12);
  EXPECT_EQ(record["strCookie"], "***");
  EXPECT_EQ(RunJson("list pos")[1]["status"], 3);
  const Json::Value server = RunJson("list server")[0];
  EXPECT_EQ(server["qv_version"], "9.1");
  EXPECT_EQ(server["last_report"].asString().size(), 20U);
  EXPECT_EQ(RunJson("list message").size(), 2U);

  Write("report", R"({"status":0,"qv_version":"9.2","POS_info":[{"id":2,"status":4}]})");
  EXPECT_THAT(Run("status 7 report").out, HasSubstr("\nCamCnt               12\n"));
  EXPECT_EQ(RunJson("list pos")[1]["status"], 3) << "the slave is offline";
  EXPECT_EQ(RunJson("list message").size(), 2U);

  Write("report", R"({"status":1,"qv_version":"9.3","POS_info":[{"id":2,"status":5}],"recover_progress":{}})");
  EXPECT_EQ(Run("status 7 report").status, 65);
  EXPECT_EQ(RunJson("list server")[0]["qv_version"], "9.2");
  EXPECT_EQ(RunJson("list pos")[1]["status"], 3);
}

TEST_F(ToolTest, RemovesAServerWholeOrNotAtAll) {
  Write("document", R"({"camera_info":[{"id":1},{"id":2}],"speaker_info":[{"id":1}],"recShare":[{"id":1}]})");
  ASSERT_EQ(Run("pair 7 document").status, 0);
  ASSERT_EQ(Run("pair 71 document").status, 0);
  const Json::Value others = RunJson("list camera --zr 71");

  // A speaker that stays does not count for the library's result; rows that the steps leave behind.
  const std::pair<const char*, const char*> faults[] = {
      {"BEFORE DELETE ON ipspeaker BEGIN SELECT RAISE(ABORT, 'refused')",
       "\nqvcms: server 7 is not removed: a step failed, "},
      {"AFTER DELETE ON rec_share BEGIN INSERT INTO rec_share (owner_zr_id) VALUES (7)",
       "rows of it would stay in rec_share; no row was changed"}};
  for (const auto& [fault, message] : faults) {
    Execute(std::string("CREATE TRIGGER fault ") + fault + "; END");
    const Result refused = Run("remove 7");
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.out, "");
    EXPECT_THAT(refused.err, HasSubstr(message));
    EXPECT_EQ(RunJson("list camera --zr 7").size(), 2U) << "nothing was applied";
    Execute("DROP TRIGGER fault");
  }

  std::string counts;
  for (const Json::Value& row : RunJson("remove 7")) counts += row["kind"].asString() + row["removed"].asString() + " ";
  EXPECT_EQ(counts, "server1 camera2 speaker1 rec-share1 ");
  EXPECT_EQ(RunJson("list camera"), others);

  EXPECT_EQ(Run("remove 7").out, "nothing was held for server 7\n");
}

TEST_F(ToolTest, RemovingLeavesTheKeysOfAnotherDataFolder) {
  const support::KeyFiles keys;
  Write("document", R"({"camera_info":[{"id":1}]})");
  Write("report", R"({"status":1,"camera_info":[{"id":1,"rtsp_key":"k"}]})");
  ASSERT_EQ(Run("pair 47 document").status, 0);
  ASSERT_EQ(Run("status 47 report").status, 0);
  ASSERT_EQ(Run("--data-dir other pair 8 document").status, 0);
  EXPECT_EQ(Run("--data-dir other remove 47").status, 0);
  EXPECT_TRUE(std::filesystem::exists(RtspKeyFilePath(47)));
  EXPECT_EQ(Run("remove 47").status, 0);
  EXPECT_FALSE(std::filesystem::exists(RtspKeyFilePath(47)));
}

TEST_F(ToolTest, TellsOfOperationsThatFailed) {
  Write("document", Devices(2, 2));
  ASSERT_EQ(Run("pair 7 document").status, 0);
  Execute("CREATE TRIGGER refuse BEFORE UPDATE ON pos WHEN old.id = 1 BEGIN SELECT RAISE(ABORT, 'refused'); END");
  Write("document", Devices(2, 2, "moved"));
  for (const std::string command : {"plan", "update", "pair"}) {
    const Result result = Run("--log-level 0 -o json " + command + " 7 document");
    EXPECT_EQ(result.status, 1) << command;
    EXPECT_EQ(result.out.substr(0, 2), "[\n") << command;
    EXPECT_EQ(result.err, std::string("qvcms: 1 operation failed, ") +
                              (command == "plan" ? "update would apply the rest" : "the rest was applied") +
                              "; the log tells which\n");
  }
  EXPECT_EQ(RunJson("list pos")[0]["note"], "");
  EXPECT_EQ(RunJson("list pos")[1]["note"], "moved");
  Write("report", R"({"status":1,"POS_info":[{"id":1,"status":3}]})");
  const Result status = Run("--log-level 0 status 7 report");
  EXPECT_EQ(status.status, 1);
  EXPECT_EQ(status.err, "qvcms: 1 operation failed, the rest was applied; the log tells which\n");
  std::filesystem::permissions(folder_ / "data", std::filesystem::perms(0750));
  const Result open = Run("list pos");
  EXPECT_EQ(open.status, 0);
  EXPECT_EQ(open.err.rfind("qvcms: warning: other users get into the data folder data", 0), 0U) << open.err;
  Execute("UPDATE schema_version SET version=999");
  EXPECT_EQ(Run("list pos").status, 1);
  EXPECT_THAT(Run("list pos").err, HasSubstr("use the newer program"));
  std::filesystem::resize_file(folder_ / "data/qvcms.db", 100'000);
  EXPECT_NE(Run("list pos").err.find("restore it from a backup\n"), std::string::npos) << Run("list pos").err;
}

TEST_F(ToolTest, ColoursWhatChanged) {
  Write("document", Devices(3, 0));
  EXPECT_THAT(Run("--color always plan 7 document").out, HasSubstr("\npos             \033[32m3\033[0m        0"));
  EXPECT_EQ(Run("plan 7 document").out.find('\033'), std::string::npos) << "it is no terminal";
}

TEST_F(ToolTest, PrintsTablesThatStayInTheirLines) {
  Write("document",
        "{\"POS_info\":[{\"id\":3,\"name\":\"caf\u00e9\\n\\u001b[31m\",\"vendor\":\"\u4e2d\u6587\",\"model\":\"M\"},"
        "{\"id\":4,\"name\":\"plain\",\"vendor\":\"v\",\"model\":\"0123456789012345678901234567890123456789x\"}]}");
  ASSERT_EQ(Run("pair 7 document").status, 0);
  const std::string table = Run("list pos").out;
  EXPECT_THAT(table, HasSubstr("  café\\n\\x1B[31m  true     中文    M"));
  EXPECT_THAT(table, HasSubstr("  plain           true     v       012345678901234567890123456789012345678…"));
  EXPECT_THAT(Run("list pos --wide").out, HasSubstr("89x"));
  for (const char* unheard : {"list pos >/dev/full", "list pos >&-", "--help >/dev/full"}) {
    EXPECT_EQ(Run(unheard).status, 1) << unheard;
  }
  Write("more", "{\"POS_info\":[]}");
  EXPECT_EQ(Shell("{ sleep 0.2; QVCMS_DATA_DIR=data '" QVCMS_PATH "' list pos; echo $? >&2; } | true").err, "0\n");
  const Result unreported = Run("--log-level 0 update 7 more >/dev/full");
  EXPECT_EQ(unreported.status, 1);
  EXPECT_EQ(unreported.err, "qvcms: applied, but the report cannot be written: No space left on device\n");
  EXPECT_EQ(RunJson("list pos").size(), 0U);
}

}  // namespace
}  // namespace qv::test
