/// qvcms as a shell sees it: exit status, standard output, standard error, and what is left in the data folder.

#include "toolrunner.h"

namespace qv::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// A document with `count` terminals, numbered from 1.
std::string Terminals(int count, const std::string& note = "") {
  std::string entries;
  for (int id = 1; id <= count; ++id) {
    entries += (id > 1 ? ",{\"id\":" : "{\"id\":") + std::to_string(id) + R"(,"name":"till","note":")" + note + "\"}";
  }
  return "{\"POS_info\":[" + entries + "]}";
}

TEST_F(ToolTest, AnswersEachRefusalInOneLine) {
  Write("broken", "{\n  \"POS_info\": [,]\n}");
  Write("id", R"({"POS_info":[{"id":1},{"id":{}}]})");
  Write("snapshot", Terminals(10));
  Write("few", Terminals(1));
  Write("report", R"({"status":1})");
  ASSERT_EQ(Run("pair 8 snapshot").status, 0);
  std::filesystem::create_directories(folder_ / "other");
  Write("other/notes", "x");
  // Each with its exit status and the start of the line.
  const std::tuple<const char*, int, const char*> cases[] = {
      {"update 7 missing", 65, "missing: No such file"},
      {"update 7 - <broken", 65, "standard input:2:16: "},
      {"plan 7 id --max-depth 1", 65, "id:1:13: nested deeper than 1 levels; --max-depth allows up to 1000\n"},
      {"plan 7 id --max-size 10", 65, "id: larger than 10 bytes; --max-size allows more\n"},
      {"plan 7 id --max-values 5", 65, "id:1:29: more than 5 values; --max-values allows more\n"},
      {"update 7 report", 65,
       "report: this is a status report, not a configuration snapshot; nothing was applied. "
       "If that is meant: qvcms status 7 report\n"},
      {"--log-level 0 update 8 few", 1,
       "refused: the document would remove 9 of 10 pos, 9 of 10 devices in all; nothing was changed. "
       "If they are really gone, give --allow-removals\n"},
      {"status 7 report", 1, "server 7 is not known here, so nothing was applied: pair it first (qvcms pair 7 DOC)\n"},
      {"pair 7 snapshot --log-file nowhere/log", 1, "cannot open the log file nowhere/log: "},
      {"token revoke 1a2b3c4d --data-dir nowhere", 1, "there is no token with the id 1a2b3c4d\n"},
      {"list pos --data-dir other --database ''", 1,
       "other is no data folder of a host: it has no qvcms.db, but other files\n"},
  };
  for (const auto& [arguments, status, message] : cases) {
    const Result result = Run(arguments);
    EXPECT_EQ(result.status, status) << arguments;
    EXPECT_EQ(result.out, "") << arguments;
    EXPECT_THAT(result.err, StartsWith(std::string("qvcms: ") + message)) << arguments;
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << arguments;
  }
  EXPECT_EQ(RunJson("list server").size(), 1U) << "nothing was applied";
}

TEST_F(ToolTest, TellsWrongUsage) {
  Write("document", "{}");
  const std::pair<const char*, const char*> cases[] = {
      {"", "; the commands are pair, update, plan, status, remove, list, configuring, messages, migrate, token\n"},
      {"--log-level 0 udpate 7 document", "unknown command 'udpate'; the commands are pair, update"},
      {"list teapot", "unknown kind \"teapot\"; the kinds are server, camera"},
      {"list pos -o",
       "--output: its value is missing\nRun \"qvcms --help\" for the commands and options, \"qvcms list"},
      {"list pos -o json -o json", "--output: given twice"},
      {"pair 010 document", "is not a decimal number from 1 to 2147483647"},
      {"list pos --max-size 1KB", "is not a size such as "}};
  for (const auto& [arguments, message] : cases) {
    const Result result = Run(arguments);
    EXPECT_EQ(result.status, 64) << arguments;
    EXPECT_EQ(result.out, "") << arguments;
    EXPECT_THAT(result.err, testing::AllOf(StartsWith("qvcms: "), HasSubstr(message)));
  }
  EXPECT_EQ(Run("list pos --max-size 1M").status, 0);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "data")) << "a wrong command line makes no data folder";
  for (const char* arguments : {"--help", "--version", "list --help"}) EXPECT_EQ(Run(arguments).status, 0) << arguments;
}

TEST_F(ToolTest, PrintsWhatACommandChanged) {
  Write("document", Terminals(3));
  EXPECT_EQ(Run("plan --exit-code 7 document").status, 2);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "data"));
  EXPECT_THAT(Run("-o json pair 7 document --model QVA-3216").out,
              HasSubstr(R"({"kind":"pos","added":3,"updated":0,"removed":0,"unchanged":0})"));
  Write("document", Terminals(2, "moved"));
  EXPECT_THAT(Run("-o json update 7 - <document").out, HasSubstr(R"("pos","added":0,"updated":2,"removed":1,)"));
  EXPECT_EQ(Run("plan --exit-code 7 document").status, 0);
  Write("answer", R"({"error":"unauthorized"})");
  EXPECT_EQ(Run("--log-level 0 plan 7 answer").err,
            "qvcms: update would refuse this without --allow-removals: no section of a snapshot\n");

  Write("report", R"({"status":1,"cam_count":12,"cookie":"c","face_info":[{"id":1,"camera_id":9}]})");
  EXPECT_THAT(Run("status 7 report").out,
              testing::AllOf(HasSubstr("\nCamCnt               12\n"), HasSubstr("\n\n1 entry was not used:\nplace ")));
  const Json::Value record = RunJson("status 7 report");
  EXPECT_EQ(record["strCookie"], "***");
  EXPECT_EQ(record["unused_entries"]["face_info[0].camera_id"], "server 7 has no camera 9");
  Write("camera", R"({"camera_info":[{"id":1}]})");
  ASSERT_EQ(Run("pair 8 camera").status, 0);
  EXPECT_EQ(Run("configuring camera 1 off").out, "kind    id  configuring\ncamera   1  false\n");

  EXPECT_EQ(Run("remove 7").out, "kind    removed  updated\nserver        1        0\npos           2        0\n");
  EXPECT_EQ(Run("remove 7").out, "nothing was held for server 7\n");
}

TEST_F(ToolTest, APlanWithoutAHostLeavesNothingBehindWhenItIsKilled) {
  SKIP_ON_POSTGRESQL("there is a host");
  // Nobody reads its log, so it stops in the middle of its work.
  Write("document", Terminals(2000));
  const Result killed = Shell("mkdir tmp && mkfifo pipe && { TMPDIR=tmp '" QVCMS_PATH
                              "' --log-level 7 plan 7 document 2>pipe & } && exec 3<pipe && "
                              "until [ -e tmp/*/writer.lock ]; do sleep 0.01; done; kill $! && wait $!");
  EXPECT_EQ(killed.status, 128 + SIGTERM) << killed.err;
  EXPECT_TRUE(std::filesystem::is_empty(folder_ / "tmp"));
}

TEST_F(ToolTest, RemovingLeavesTheKeysOfAnotherDataFolder) {
  SKIP_ON_POSTGRESQL("another folder is no other host there");
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

TEST_F(ToolTest, TellsOfOperationsThatFailedAndOfAnOpenFolder) {
  Write("document", Terminals(2));
  ASSERT_EQ(Run("pair 7 document").status, 0);
  support::ExecuteInFolder(folder_ / "data", support::RefusingTrigger("refuse", "UPDATE", "pos", "OLD.id=1"));
  Write("document", Terminals(2, "moved"));
  for (const auto& [command, rest] :
       {std::pair("plan", "update would apply the rest"), {"update", "the rest was applied"}}) {
    const Result result = Run("--log-level 0 -o json " + std::string(command) + " 7 document");
    EXPECT_EQ(result.status, 1) << command;
    EXPECT_THAT(result.out, StartsWith("[\n")) << command;
    EXPECT_EQ(result.err, std::string("qvcms: 1 operation failed, ") + rest + "; the log tells which\n");
  }
  std::filesystem::permissions(folder_ / "data", std::filesystem::perms(0750));
  const Result open = Run("list pos");
  EXPECT_EQ(open.status, 0);
  EXPECT_THAT(open.err, StartsWith("qvcms: warning: other users can enter the data folder data"));
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
}

TEST_F(ToolTest, NoticesOutputThatCannotBeWritten) {
  Write("document", Terminals(1));
  ASSERT_EQ(Run("pair 7 document").status, 0);
  for (const char* unheard : {"list pos >/dev/full", "list pos >&-", "--help >/dev/full"}) {
    EXPECT_EQ(Run(unheard).status, 1) << unheard;
  }
  EXPECT_EQ(Shell("{ sleep 0.2; QVCMS_DATA_DIR=data '" QVCMS_PATH "' list pos; echo $? >&2; } | true").err, "0\n");
  Write("more", "{\"POS_info\":[]}");
  const Result unreported = Run("--log-level 0 update 7 more >/dev/full");
  EXPECT_EQ(unreported.status, 1);
  EXPECT_EQ(unreported.err, "qvcms: applied, but the report cannot be written: No space left on device\n");
  EXPECT_EQ(RunJson("list pos").size(), 0U);
}

TEST_F(ToolTest, ShowsColoursOnATerminalOnly) {
  Write("document", Terminals(20));
  const std::string program = "QVCMS_DATA_DIR=data '" QVCMS_PATH "' ";
  const auto on_terminal = [&](const std::string& command) {
    return Shell("script --quiet --command \"" + command + "\" /dev/null").out;
  };
  EXPECT_THAT(on_terminal(program + "plan 7 document"), HasSubstr("\033[32m20\033[0m"));
  EXPECT_THAT(on_terminal("NO_COLOR=1 " + program + "plan 7 document"), Not(HasSubstr("\033[32m")));
  EXPECT_THAT(Run("plan 7 document").out, Not(HasSubstr("\033")));
  EXPECT_THAT(Run("--color always plan 7 document").out, HasSubstr("\npos            \033[32m20\033[0m        0"));
}

TEST_F(ToolTest, MigratesAHostToAnotherDatabaseAndBack) {
  Write("document", support::kEverySection);
  ASSERT_EQ(Run("pair 7 document --model QVA-3216").status, 0);
  ASSERT_EQ(Run("pair 8 document").status, 0);
  ASSERT_EQ(Run("remove 8").status, 0);  // so the next ids are not those behind the last rows
  const std::string to = " --data-dir moved --database '' migrate --from data";
  const std::string from_database = support::OnPostgresql() ? " --from-database \"$QVCMS_DATABASE\"" : "";
  ASSERT_EQ(Run(to + from_database).err, "");
  EXPECT_FALSE(std::filesystem::exists(folder_ / "moved/qvcms.db-wal")) << "qvcms.db is whole by itself";
  EXPECT_THAT(Run(to + from_database).err, HasSubstr(" holds rows already"));
  const std::string back = support::DatabaseOf(folder_ / "back");
  ASSERT_EQ(Run("--data-dir back --database '" + back + "' migrate --from moved").err, "");
  EXPECT_EQ(support::DumpDatabase(folder_ / "back"), support::DumpDatabase(folder_ / "data"));
  EXPECT_EQ(Run("--data-dir other --database '' migrate --from nowhere").status, 1);
}

TEST_F(ToolTest, HandsMessagesToAScriptAndTakesThemOutOnceTheyAreWritten) {
  const auto lines = [](const std::string& text) { return std::count(text.begin(), text.end(), '\n'); };
  Write("document", Terminals(1));
  ASSERT_EQ(Run("pair 7 document --model QVA-3216").status, 0);
  EXPECT_EQ(lines(Run("messages --target hostd --zr 7").out), 2);
  EXPECT_EQ(Run("messages --target hostd --zr 8").out, "");
  EXPECT_EQ(Run("messages --ack").status, 64) << "of which target?";
  EXPECT_EQ(Run("messages --target hostd --ack >/dev/full").status, 1);
  EXPECT_EQ(lines(Run("messages --target hostd --ack").out), 2) << "what could not be written is still there";
  EXPECT_EQ(Run("messages --target hostd").out, "");
  ASSERT_EQ(Run("pair 7 document").status, 0);
  const std::string program = "'" QVCMS_PATH "' --data-dir data ";
  const std::string left = "messages --target hostd --ack --follow; echo \\$? >&2; } | :\"";
  EXPECT_EQ(Shell("sh -c \"{ timeout 5 " + program + left).err, "0\n") << "the reader has left";
  EXPECT_EQ(lines(Run("messages --target hostd --ack").out), 2);

  const Result followed = Shell(
      "sh -c \"" + program + "messages --target hostd --ack --follow >followed & sleep 0.3; " + program +
      "messages --target hostd --ack; " + program + "pair 7 document >/dev/null; sleep 0.3; kill \\$!; cat followed\"");
  EXPECT_EQ(lines(followed.out), 2) << "it was woken";
  EXPECT_THAT(followed.err, HasSubstr("another process delivers the messages for hostd"));
}

}  // namespace
}  // namespace qv::test
