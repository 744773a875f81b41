/// Calls that wait for a database server a few times, whatever they write, and what becomes of a write that it refuses.

#include <qv/json.h>

#include "scratchhost.h"

namespace qv {
namespace {

constexpr int kCameras = 10'000;

/// A document that begins with `text` and has cameras with ids from 1. @param members  what each has besides
Document CamerasOf(int count, std::string text, const std::string& members) {
  text += R"("camera_info":[)";
  for (int id = 1; id <= count; ++id) {
    text += (id == 1 ? "" : ",") + std::string(R"({"id":)") + std::to_string(id) + "," + members + "}";
  }
  return Document::Parse(text + "]}");
}

Document Snapshot(int count, const std::string& name) { return CamerasOf(count, "{", R"("name":")" + name + '"'); }

Document Report(int count, int status) {
  return CamerasOf(count, R"({"status":1,"cam_count":)" + std::to_string(count) + ",",
                   R"("status":)" + std::to_string(status));
}

TEST_F(HostApiTest, ACallWaitsForAServerOnlyAFewTimes) {
  if (!support::OnPostgresql()) GTEST_SKIP() << "nothing travels";
  Host& host = Open();
  const auto update = [&](const std::string& name) { return host.Update(7, Snapshot(kCameras, name)).round_trips; };
  const auto status = [&](int status) { return host.Status(7, Report(kCameras, status)).round_trips; };
  EXPECT_LE(host.Pair(7, Snapshot(kCameras, "A")).round_trips, 60U) << "10,000 new cameras";
  EXPECT_LE(update("A"), 10U) << "nothing new";
  EXPECT_LE(update("B"), 60U) << "10,000 changed cameras";
  EXPECT_LE(status(2), 7U) << "a changed report";
  const std::uint64_t unchanged = status(2);
  EXPECT_LE(unchanged, 4U) << "an unchanged report";
  EXPECT_GT(unchanged, 0U);
}

TEST_F(HostApiTest, AnEntryThatWentWithItsCameraComesBackWithAnother) {
  Host& host = Open();
  const auto paired_with = [](const std::string& camera) {
    return Document::Parse(R"({"iomodule_info":[{"id":1}],"camera_info":[{"id":)" + camera +
                           R"(}],"iomoduleCamPairing":[{"id":5,"iomodule_id":1,"cam_id":)" + camera + "}]}");
  };
  host.Pair(7, paired_with("1"));
  host.Update(7, paired_with("2"), {.allow_removals = true});
  EXPECT_THAT(support::QueryFolder(folder_ / "data", "SELECT id_on_rec_server,camera_id FROM iomodule_cam_pairing"),
              testing::ElementsAre("5|2"));
}

/// What a call of the host did: its result, what it logged, the rows.
struct RefusedWriteTest : HostApiTest {
  RefusedWriteTest() {
    HostOptions options = Options();
    options.log.sink = [this](const LogLine& line) { told_.push_back(line.level + ' ' + line.text); };
    Open(options).Pair(7, Snapshot(3, "A"));
    told_.clear();
  }
  void Refuse(const std::string& operation, const std::string& table, const std::string& condition) const {
    support::ExecuteInFolder(folder_ / "data", support::RefusingTrigger("refuse_it", operation, table, condition));
  }
  std::vector<std::string> Rows(const std::string& query) const {
    return support::QueryFolder(folder_ / "data", query);
  }

  std::vector<std::string> told_;
};

TEST_F(RefusedWriteTest, OnlyThatWriteFailsAndIsLoggedOnce) {
  Refuse("UPDATE", "camera", "NEW.id_on_rec_server=2");
  const ImportResult result = host_->Update(7, Snapshot(4, "B"));
  EXPECT_EQ(result.failed_operations, 1);
  EXPECT_THAT(ToJson(result),
              testing::HasSubstr(R"({"kind":"camera","added":1,"updated":2,"removed":0,"unchanged":1})"));
  EXPECT_THAT(told_,
              testing::ElementsAre(testing::AllOf(testing::StartsWith("ERR Failed to save camera [2]: UPDATE camera"),
                                                  testing::EndsWith(": refused"))));
  EXPECT_THAT(Rows("SELECT id,name FROM camera ORDER BY id"), testing::ElementsAre("1|B", "2|A", "3|B", "4|B"));
}

TEST_F(RefusedWriteTest, OfAReportTheRestIsApplied) {
  Refuse("UPDATE", "camera", "");
  const StatusResult result = host_->Status(7, Report(3, 5));
  EXPECT_EQ(result.failed_operations, 1);
  EXPECT_THAT(
      told_,
      testing::Contains(testing::HasSubstr("Failed to update the status of the cameras of server [7]: UPDATE camera")));
  EXPECT_THAT(Rows("SELECT status FROM camera"), testing::Each("0"));
  EXPECT_THAT(Rows("SELECT cam_count FROM server"), testing::ElementsAre("3"));
}

TEST_F(RefusedWriteTest, TogetherWithOthersItAloneFails) {
  Refuse("INSERT", "camera", "NEW.owner_zr_id=8");
  std::vector<std::function<void()>> calls;
  for (const int zr : {7, 8, 9}) {
    calls.emplace_back([this, zr] { host_->Pair(zr, Snapshot(4, "B")); });
  }
  for (const Host::Outcome& outcome : host_->Together(calls)) EXPECT_FALSE(outcome.refusal);
  EXPECT_THAT(told_, testing::SizeIs(4));
  EXPECT_THAT(Rows("SELECT owner_zr_id,name FROM camera ORDER BY id"),
              testing::ElementsAre("7|B", "7|B", "7|B", "7|B", "9|B", "9|B", "9|B", "9|B"));
  EXPECT_THAT(Rows("SELECT id FROM server ORDER BY id"), testing::ElementsAre("7", "8", "9"));
}

}  // namespace
}  // namespace qv
