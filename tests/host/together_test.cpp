/// Several documents with one commit.

#include <qv/json.h>

#include <thread>

#include "scratchhost.h"

namespace qv {
namespace {

constexpr const char* kPair = R"({"camera_info":[{"id":1,"name":"A"},{"id":2,"name":"B"}],
    "camCapList":[{"camVendor":"V","camModel":"M","capFileName":"V/M.cap","camCap":{}}]})";

struct TogetherTest : HostApiTest {
  /// Has PostgreSQL run a statement of its language with each new camera.
  void DoAtACamera(const std::string& statement) const {
    support::ExecuteInFolder(folder_ / "data",
                             "CREATE SEQUENCE IF NOT EXISTS occasion; CREATE FUNCTION refuse_camera() RETURNS trigger "
                             "LANGUAGE plpgsql AS $$BEGIN " +
                                 statement +
                                 "; RETURN NEW; END$$; CREATE TRIGGER "
                                 "refuse_camera BEFORE INSERT ON camera FOR EACH ROW EXECUTE FUNCTION refuse_camera()");
  }
};

/// What the calls say, whether made together or one by one.
std::vector<std::string> Apply(Host& host, bool together) {
  std::vector<std::string> told;
  const auto tell = [&](const auto& result) { told.push_back(ToJson(result)); };
  const std::vector<std::function<void()>> calls = {
      [&] { tell(host.Pair(7, Document::Parse(kPair), {.model = "X"})); },
      [&] { tell(host.Pair(8, Document::Parse(kPair))); },
      [&] { tell(host.Plan(7, Document::Parse(R"({"camera_info":[]})"))); },
      [&] { tell(host.Status(9, Document::Parse(R"({"status":1,"cam_count":1})"))); },
      [&] { tell(host.Update(7, Document::Parse(R"({"camera_info":[{"id":2,"name":"C"}]})"))); },
      [&] {
        tell(host.Status(8, Document::Parse(R"({"status":1,"cam_count":2,"camera_info":[{"id":1,"status":2}]})")));
      },
      [&] { tell(host.Remove(7)); },
  };
  std::vector<Host::Outcome> outcomes;
  if (together) {
    outcomes = host.Together(calls);
  } else {
    for (const auto& call : calls) outcomes.push_back(host.Together({&call, 1}).front());
  }
  for (const Host::Outcome& outcome : outcomes) {
    told.push_back(std::to_string(outcome.failed_files) + (outcome.refusal ? outcome.refusal->what() : " applied"));
  }
  return told;
}

TEST_F(TogetherTest, GivesTheSameStateMessagesAndResultsAsAlone) {
  std::vector<std::string> told[2];
  std::vector<std::string> held[2];
  for (const bool together : {false, true}) {
    HostOptions options = Options();
    options.data_folder = folder_ / (together ? "together" : "alone");
    options.database = support::DatabaseOf(options.data_folder);
    told[together] = Apply(Open(options), together);
    held[together] = support::DumpDatabase(options.data_folder);
    host_.reset();
  }
  EXPECT_EQ(told[true], told[false]);
  EXPECT_EQ(held[true], held[false]);
  EXPECT_THAT(told[true], testing::Contains("0server 9 is not known here, so nothing was applied"));
}

TEST_F(TogetherTest, WhenTheCommonTransactionIsLostEachIsAppliedByItself) {
  Host& host = Open();
  // Server 8 ends any transaction that it is in.
  if (support::OnPostgresql()) {
    DoAtACamera("IF NEW.owner_zr_id=8 THEN RAISE 'conflict' USING ERRCODE='40001'; END IF");
  } else {
    support::ExecuteInFolder(folder_ / "data",
                             "CREATE TRIGGER fatal BEFORE INSERT ON camera WHEN NEW.owner_zr_id=8 "
                             "BEGIN SELECT RAISE(ROLLBACK,'disk is broken'); END");
  }
  std::vector<std::function<void()>> calls;
  for (const int zr : {7, 8, 9}) calls.emplace_back([&host, zr] { host.Pair(zr, Document::Parse(kPair)); });
  const std::vector<Host::Outcome> outcomes = host.Together(calls);
  EXPECT_FALSE(outcomes[0].refusal);
  EXPECT_EQ(outcomes[1].refusal.value().code(), RefusalCode::Failed);
  EXPECT_FALSE(outcomes[2].refusal);
  EXPECT_THAT(support::QueryFolder(folder_ / "data", "SELECT owner_zr_id, COUNT(*) FROM camera GROUP BY 1 ORDER BY 1"),
              testing::ElementsAre("7|2", "9|2"));
}

// By the revision other processes, on other machines too, find out that files have to be made.
TEST_F(TogetherTest, AChangedFileHasANewRevisionAlsoBehindACallThatWentBack) {
  Host& host = Open();
  const auto snapshot = [](const std::string& content) {
    return Document::Parse(R"({"camCapList":[{"camVendor":"V","camModel":"M","capFileName":"7/M","camCap":)" + content +
                           "}]}");
  };
  host.Pair(7, snapshot("1"));
  const auto revision = [&] {
    return support::QueryFolder(folder_ / "data", "SELECT revision FROM capability_revision");
  };
  const std::vector<std::string> before = revision();
  const std::function<void()> calls[] = {[&] { host.Update(7, snapshot("1")); }, [&] { host.Plan(7, snapshot("2")); },
                                         [&] { host.Update(7, snapshot("2")); }};
  host.Together(calls);
  EXPECT_NE(revision(), before);
  EXPECT_EQ(support::ReadWholeFile(folder_ / "data/capability/7/M"), "2\n");
}

TEST_F(TogetherTest, ACallForAServerThatAnotherHostWorksOnIsLeftOutAndMadeAfterwards) {
  if (!support::OnPostgresql()) GTEST_SKIP() << "hosts follow one another";
  Host& host = Open();
  const std::string lock = "advisory_xact_lock(current_schema()::regnamespace::oid::integer,8)";
  std::thread other([&] { support::QueryFolder(folder_ / "data", "SELECT pg_" + lock + "; SELECT pg_sleep(0.5)"); });
  while (support::QueryFolder(folder_ / "data", "SELECT pg_try_" + lock)[0] == "t") continue;
  std::string made;
  const std::function<void()> calls[] = {
      [&] {
        made += "pair 8, ";
        host.Pair(8, Document::Parse(kPair));
      },
      [&] {
        made += "pair 7, ";
        host.Pair(7, Document::Parse(kPair));
      },
      [&] {
        made += "status 8, ";
        host.Status(8, Document::Parse(R"({"status":1,"cam_count":2})"));
      },
  };
  for (const Host::Outcome& outcome : host.Together(calls)) EXPECT_FALSE(outcome.refusal) << outcome.refusal->what();
  EXPECT_EQ(made, "pair 8, pair 7, status 8, pair 8, status 8, ");
  other.join();
}

TEST_F(TogetherTest, MessagesOfAServerStandBehindThoseThatAnotherHostHasCommitted) {
  if (!support::OnPostgresql()) GTEST_SKIP() << "hosts follow one another";
  Host& host = Open();
  const auto update = [&host](int zr, const char* cameras) {
    host.Update(zr, Document::Parse(std::string(R"({"camera_info":)") + cameras + "}"), {.allow_removals = true});
  };
  for (const int zr : {7, 8}) host.Pair(zr, Document::Parse(kPair));
  const std::function<void()> calls[] = {
      [&] { update(8, R"([{"id":1,"name":"changed"},{"id":2,"name":"B"}])"); },
      [&] { update(8, R"([{"id":1,"name":"changed again"},{"id":2,"name":"B"}])"); },
      [&] {
        std::thread([&] { update(7, R"([{"id":1,"name":"changed"},{"id":2,"name":"B"}])"); }).join();
        update(7, R"([{"id":2,"name":"B"}])");
      },
  };
  for (const Host::Outcome& outcome : host.Together(calls)) EXPECT_FALSE(outcome.refusal) << outcome.refusal->what();
  EXPECT_THAT(support::QueryFolder(folder_ / "data", "SELECT payload FROM message WHERE zr_id = 7 ORDER BY id"),
              testing::ElementsAre(testing::HasSubstr(R"("id":"1,2")"), testing::HasSubstr(R"("id":"2")")));
}

TEST_F(TogetherTest, ACallThatIsInterruptedIsMadeAgain) {
  if (!support::OnPostgresql()) GTEST_SKIP() << "there is no connection to lose";
  Host& host = Open();
  for (const char* const interruption :
       {"PERFORM pg_terminate_backend(pg_backend_pid())", "RAISE 'deadlock detected' USING ERRCODE='40P01'"}) {
    DoAtACamera("IF nextval('occasion')=2 THEN " + std::string(interruption) + "; END IF");
    const ImportResult result = host.Pair(7, Document::Parse(kPair));
    EXPECT_EQ(result.failed_operations, 0) << interruption;
    EXPECT_THAT(ToJson(result), testing::HasSubstr(R"({"kind":"camera","added":2,)")) << interruption;
    EXPECT_TRUE(host.Remove(7).was_held);
    support::ExecuteInFolder(folder_ / "data", "DROP FUNCTION refuse_camera CASCADE; DROP SEQUENCE occasion");
  }
}

}  // namespace
}  // namespace qv
