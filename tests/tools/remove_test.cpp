#include "toolrunner.h"

namespace qv::test {
namespace {

TEST_F(ToolTest, RemovesAServerWholeOrNotAtAll) {
  Write("document", R"({"camera_info":[{"id":1},{"id":2}],"speaker_info":[{"id":1}]})");
  ASSERT_EQ(Run("pair 7 document").status, 0);
  ASSERT_EQ(Run("pair 71 document").status, 0);
  const Json::Value others = RunJson("list camera --zr 71");

  // The second report says what is held again: a failed removal takes nothing with it.
  const std::string sql = "sqlite3 data/qv.db ";
  const auto before = RunJson("list camera");
  const Json::Value removed = RunJson("remove 7");
  std::map<std::string, int> counts;
  for (const Json::Value& row : removed) counts[row["kind"].asString()] = row["removed"].asInt();
  EXPECT_EQ(counts, (std::map<std::string, int>{{"camera", 2}, {"server", 1}, {"speaker", 1}}));
  EXPECT_EQ(RunJson("list camera"), others);
  EXPECT_EQ(RunJson("list server").size(), 1U);

  const Result again = Run("remove 7");
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.out, "nothing was held for server 7\n");
  EXPECT_EQ(RunJson("remove 7").size(), 0U);
}

}  // namespace
}  // namespace qv::test
