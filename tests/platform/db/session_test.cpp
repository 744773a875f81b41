#include <gmock/gmock.h>

#include "support.h"

namespace qv::db::test {
namespace {

using testing::HasSubstr;
using testing::Not;

using SessionTest = DatabaseTest;

TEST_F(SessionTest, ATextIsPreparedOnceAndInUseTwiceAtOnce) {
  for (int i = 0; i < 3; ++i) Insert("n" + std::to_string(i), i);
  const auto before = ThisThread().statistics();
  std::string pairs;
  const auto select = [] { return ThisThread().Prepare("SELECT value FROM item WHERE value < $1 ORDER BY value"); };
  for (int round = 0; round < 2; ++round) {
    Query outer = select();
    outer.Bind(2);
    while (outer.Next()) {
      Query inner = select();
      inner.Bind(2);
      while (inner.Next()) pairs += std::to_string(outer.Row().Int(0)) + std::to_string(inner.Row().Int(0)) + " ";
      EXPECT_FALSE(inner.Next());  // stays at its end
    }
  }
  EXPECT_EQ(pairs, "00 01 10 11 00 01 10 11 ");
  EXPECT_EQ(ThisThread().statistics().prepared - before.prepared, 2u);
  EXPECT_EQ(ThisThread().statistics().executed - before.executed, 6u);
}

TEST_F(SessionTest, ValuesComeBackAsTheyWere) {
  const std::string text("a\0b", 3);
  Query insert = ThisThread().Prepare("INSERT INTO item (name, value) VALUES ($1, $2) RETURNING value");
  EXPECT_EQ(insert.Bind(text).Bind(std::int64_t{1} << 60).RunForId(), std::int64_t{1} << 60);
  EXPECT_EQ(insert.Bind(std::string_view()).BindNull().Run(), 1);  // once more with the same query
  Query query = ThisThread().Prepare("SELECT name, value, $1 + 0.5 FROM item ORDER BY value DESC");
  query.Bind(1.25);
  ASSERT_TRUE(query.Next());
  EXPECT_EQ(query.Row().Text(0), text);
  EXPECT_EQ(query.Row().Real(2), 1.75);
  ASSERT_TRUE(query.Next());
  EXPECT_FALSE(query.Row().IsNull(0));
  EXPECT_EQ(query.Row().Text(0), "");
  EXPECT_TRUE(query.Row().IsNull(1));
}

TEST_F(SessionTest, AnErrorNamesTheStatementButNoValue) {
  Insert("secret-key");
  const auto twice = ErrorOf([] { Insert("secret-key"); });
  EXPECT_EQ(twice.first, Error::Kind::Statement);
  EXPECT_THAT(twice.second, HasSubstr("INSERT INTO item"));
  EXPECT_THAT(twice.second, HasSubstr("UNIQUE constraint failed: item.name"));
  EXPECT_THAT(twice.second, Not(HasSubstr("secret-key")));
  const auto inlined = ErrorOf([] { ThisThread().Execute("INSERT INTO item (name) VALUES ('secret-key')"); });
  EXPECT_THAT(inlined.second, Not(HasSubstr("secret-key")));
  EXPECT_EQ(ThisThread().Prepare("DELETE FROM item").Run(), 1);  // a failed statement blocks nothing
}

}  // namespace
}  // namespace qv::db::test
