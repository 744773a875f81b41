/// Several documents with one commit.

#include <gmock/gmock.h>
#include <qv/json.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <filesystem>

namespace qv {
namespace {

struct TogetherTest : testing::Test {
  TogetherTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qvtest-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
  }
  ~TogetherTest() override { std::filesystem::remove_all(folder_); }

  /// Everything that the host holds.
  static std::string All(const Host& host) {
    std::string all;
    for (const KindInfo& kind : Host::Kinds()) {
      const Page page = host.List({.kind = std::string(kind.name), .limit = 1000});
      all += ToJson(page.rows);
    }
    // The time of a report is none of the host's doing.
    for (auto at = all.find("last_report"); at != std::string::npos; at = all.find("last_report", at + 1)) {
      all.erase(at, std::string("last_report\":\"2030-01-31T12:00:00Z").size());
    }
    return all;
  }

  std::filesystem::path folder_;
};

constexpr const char* kPair = R"({"camera_info":[{"id":1,"name":"A"},{"id":2,"name":"B"}],
    "camCapList":[{"camVendor":"V","camModel":"M","capFileName":"V/M.cap","camCap":{}}]})";

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
  std::string held[2];
  for (const bool together : {false, true}) {
    Host host({.data_folder = folder_ / (together ? "together" : "alone"), .log = {.to_stderr = false}});
    told[together] = Apply(host, together);
    held[together] = All(host);
  }
  EXPECT_EQ(told[true], told[false]);
  EXPECT_EQ(held[true], held[false]);
  EXPECT_THAT(told[true], testing::Contains("0server 9 is not known here, so nothing was applied"));
}

TEST_F(TogetherTest, WhenTheCommonTransactionIsLostEachIsAppliedByItself) {
  Host host({.data_folder = folder_ / "data", .log = {.to_stderr = false}});
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open((folder_ / "data" / "qvcms.db").c_str(), &database), SQLITE_OK);
  // Server 8 ends any transaction that it is in.
  ASSERT_EQ(sqlite3_exec(database,
                         "CREATE TRIGGER fatal BEFORE INSERT ON camera WHEN NEW.owner_zr_id=8 "
                         "BEGIN SELECT RAISE(ROLLBACK,'disk is broken'); END",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(database);
  std::vector<std::function<void()>> calls;
  for (const int zr : {7, 8, 9}) calls.emplace_back([&host, zr] { host.Pair(zr, Document::Parse(kPair)); });
  const std::vector<Host::Outcome> outcomes = host.Together(calls);
  EXPECT_FALSE(outcomes[0].refusal);
  EXPECT_EQ(outcomes[1].refusal.value().code(), RefusalCode::Failed);
  EXPECT_FALSE(outcomes[2].refusal);
  EXPECT_EQ(host.List({.kind = "camera", .zr = 7}).rows.size(), 2U);
  EXPECT_EQ(host.List({.kind = "camera", .zr = 8}).rows.size(), 0U);
  EXPECT_EQ(host.List({.kind = "camera", .zr = 9}).rows.size(), 2U);
}

}  // namespace
}  // namespace qv
