#include "rtspinfo.h"
#include "support/keyfiles.h"
#include "toolrunner.h"

namespace qv::test {
namespace {

using RemoveTest = ToolTest;

TEST_F(RemoveTest, TakesAServerWholeOrNotAtAll) {
  Write("document", R"({"camera_info":[{"id":1},{"id":2}],"speaker_info":[{"id":1}],"recShare":[{"id":1}]})");
  ASSERT_EQ(Run("pair 7 document").status, 0);
  ASSERT_EQ(Run("pair 71 document").status, 0);
  const Json::Value others = RunJson("list camera --zr 71");

  // A speaker that stays does not count for the library's result.
  Execute("CREATE TRIGGER refuse BEFORE DELETE ON ipspeaker BEGIN SELECT RAISE(ABORT, 'refused'); END");
  const Result refused = Run("remove 7");
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.out, "");
  EXPECT_NE(refused.err.find("\nqvcms: server 7 is not removed: a step failed, "), std::string::npos) << refused.err;
  EXPECT_EQ(RunJson("list camera --zr 7").size(), 2U) << "nothing was applied";
  Execute("DROP TRIGGER refuse");

  // Rows that the steps leave behind.
  Execute("CREATE TRIGGER revive AFTER DELETE ON rec_share BEGIN INSERT INTO rec_share (owner_zr_id) VALUES (7); END");
  const Result left = Run("remove 7");
  EXPECT_EQ(left.status, 1);
  EXPECT_NE(left.err.find("rows of it would stay in rec_share; no row was changed"), std::string::npos) << left.err;
  Execute("DROP TRIGGER revive");

  const Json::Value removed = RunJson("remove 7");
  std::map<std::string, int> counts;
  for (const Json::Value& row : removed) counts[row["kind"].asString()] = row["removed"].asInt();
  EXPECT_EQ(counts, (std::map<std::string, int>{{"camera", 2}, {"rec-share", 1}, {"server", 1}, {"speaker", 1}}));
  EXPECT_EQ(RunJson("list camera"), others);

  EXPECT_EQ(Run("remove 7").out, "nothing was held for server 7\n");
}

TEST_F(RemoveTest, LeavesTheKeysOfAnotherDataFolder) {
  support::KeyFiles keys;
  Write("document", R"({"camera_info":[{"id":1}]})");
  Write("report", R"({"status":1,"camera_info":[{"id":1,"rtsp_key":"k"}]})");
  ASSERT_EQ(Run("pair 47 document").status, 0);
  ASSERT_EQ(Run("status 47 report").status, 0);
  ASSERT_TRUE(std::filesystem::exists(RtspKeyFilePath(47)));
  ASSERT_EQ(Run("--data-dir other pair 8 document").status, 0);
  EXPECT_EQ(Run("--data-dir other remove 47").status, 0);
  EXPECT_TRUE(std::filesystem::exists(RtspKeyFilePath(47)));
  EXPECT_EQ(Run("remove 47").status, 0);
  EXPECT_FALSE(std::filesystem::exists(RtspKeyFilePath(47)));
}

}  // namespace
}  // namespace qv::test
