/// What list shows, and how much of it at a time.

#include "toolrunner.h"

namespace qv::test {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST_F(ToolTest, ListsUnknownMembersWithTheirValuesOnRequestOnly) {
  Write("document", R"({"POS_info":[{"id":1,"model":"M","bandwidth":812,"session_token":"t0p"}]})");
  ASSERT_EQ(Run("pair 7 document").status, 0);
  EXPECT_EQ(Run("-o json list pos").out.find("812"), std::string::npos);
  EXPECT_THAT(Run("-o json list pos").out, HasSubstr(R"("extra":["bandwidth","session_token"])"));
  EXPECT_THAT(Run("list pos --wide").out, HasSubstr(R"(["bandwidth","session_token"])"));
  const std::string with_values = Run("-o json list pos --extra-values").out;
  EXPECT_THAT(with_values, HasSubstr(R"("bandwidth":812)"));
  EXPECT_THAT(with_values, Not(HasSubstr("t0p"))) << "a secret stays one";
}

TEST_F(ToolTest, ListsManyRowsInTheMemoryOfAFew) {
  std::string entries;
  for (int id = 1; id <= 6000; ++id) {
    entries += (id > 1 ? ",{\"id\":" : "{\"id\":") + std::to_string(id) + ",\"name\":\"camera\"}";
  }
  Write("document", "{\"camera_info\":[" + entries + "]}");
  ASSERT_EQ(Run("pair 7 document").status, 0);
  Write("document", R"({"camera_info":[{"id":1}]})");
  ASSERT_EQ(Run("pair 8 document").status, 0);
  [[maybe_unused]] const long few = Run("-o json list camera --zr 8").peak_kilobytes;
  const Result many = Run("-o json list camera");
#ifndef QV_SANITIZED
  EXPECT_LT(many.peak_kilobytes, few + 20'000);
#endif
  const Json::Value rows = RunJson("list camera --zr 7");
  ASSERT_EQ(rows.size(), 6000U);
  for (Json::ArrayIndex i = 0; i < rows.size(); ++i) ASSERT_EQ(rows[i]["id"].asUInt(), i + 1) << "a row twice, or none";
  const std::string table = Run("list camera --zr 7").out;
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 6001);
  EXPECT_THAT(table, HasSubstr("\n6000              6000            7  camera  true"));
}

TEST_F(ToolTest, DoesNotTakeAnyFolderForAHost) {
  std::filesystem::create_directories(folder_ / "data");
  Write("data/notes.txt", "x");
  Write("report", R"({"status":1})");
  for (const char* command : {"list pos", "remove 7", "configuring camera 1 on", "status 7 report"}) {
    const Result result = Run(command);
    EXPECT_EQ(result.status, 1) << command;
    EXPECT_EQ(result.err, "qvcms: data is no data folder of a host: it has no qvcms.db, but other files\n");
  }
  EXPECT_EQ(support::DumpFiles(folder_ / "data").size(), 1U);
}

}  // namespace
}  // namespace qv::test
