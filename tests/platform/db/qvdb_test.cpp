#include "qvdb.h"

#include <gmock/gmock.h>

#include "support.h"

namespace qv::db::test {
namespace {

using testing::HasSubstr;

class QvdbTest : public DatabaseTest {
 protected:
  static int Run(const std::string& sql, DBResult_tag** result = nullptr, DB_INSTANCE instance = kDbInstanceMain) {
    return QVDB::Execute(instance, sql, result, false, true, true, true);
  }
};

TEST_F(QvdbTest, RowsAreFetchedOneByOne) {
  DBResult_tag* result = nullptr;
  ASSERT_EQ(Run(";; INSERT INTO item VALUES ('a', 1), ('b', NULL); SELECT name, value FROM item ORDER BY name;"
                "UPDATE item SET value = 5 WHERE name = 'a'; ",
                &result, kDbInstancePos),
            0);
  std::string rows;
  unsigned row = 99;
  while (QVDBFetchRow(result, &row) == 0) {
    const char* value = QVDBFetchField(result, row, "value");
    rows += std::to_string(row) + QVDBFetchField(result, row, "name") + (value == nullptr ? "null" : value) + " ";
  }
  EXPECT_EQ(rows, "0a1 1bnull ");
  EXPECT_EQ(row, 1u);
  EXPECT_EQ(QVDBFetchField(result, 2, "name"), nullptr);
  EXPECT_EQ(QVDBFetchField(result, 0, "other"), nullptr);
  QVDBFreeResult(result);
  QVDBFreeResult(nullptr);
  EXPECT_EQ(Items(), "a=5 b=0");
}

TEST_F(QvdbTest, FailureLeavesEverythingAsItWasAndOneLine) {
  Insert("kept", 1);
  for (const char* sql : {"DELETE FROM item; SELECT * FROM missing", "DELETE FROM item; DELETE FROM item WHERE",
                          "INSERT INTO item VALUES ('x', 1); INSERT INTO item VALUES ('kept', 2)"}) {
    auto* const untouched = reinterpret_cast<DBResult_tag*>(this);
    DBResult_tag* result = untouched;
    testing::internal::CaptureStderr();
    EXPECT_EQ(Run(sql, &result), -1) << sql;
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_THAT(log, HasSubstr("Failed to execute a command on database [0]: "));
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
    EXPECT_EQ(result, untouched);
    EXPECT_EQ(Items(), "kept=1");
  }
}

}  // namespace
}  // namespace qv::db::test
