#include <gmock/gmock.h>

#include "support.h"

namespace qv::db::test {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST_F(DatabaseTest, AMigrationHappensWholeOrNotAtAll) {
  Insert("a", 1);
  Close();
  static constexpr Migration kFailing[] = {kItemSchema[0],
                                           {2, [](Session& s) { s.Execute("ALTER TABLE item ADD COLUMN two TEXT"); }},
                                           {3, [](Session& s) {
                                              s.Execute("ALTER TABLE item ADD COLUMN three TEXT");
                                              s.Execute("UPDATE missing SET a = 1");
                                            }}};
  Options options = ItemOptions();
  options.migrations = kFailing;
  const auto [kind, text] = ErrorOf([&] { Open(folder_, options); });
  EXPECT_EQ(kind, Error::Kind::Unusable);
  EXPECT_THAT(text, HasSubstr("no such table: missing"));
  EXPECT_FALSE(IsOpen());

  options.migrations = std::span(kFailing).first(2);
  Open(folder_, options);
  EXPECT_EQ(Items(), "a=1");
  EXPECT_NO_THROW(ThisThread().Prepare("SELECT two FROM item"));
  EXPECT_THROW(ThisThread().Prepare("SELECT three FROM item"), Error);
  Close();

  const auto [newer_kind, newer_text] = ErrorOf([&] { OpenItems(); });
  EXPECT_EQ(newer_kind, Error::Kind::Unusable);
  EXPECT_THAT(newer_text, HasSubstr("has schema version 2, this program knows up to 1: use the newer program"));
}

TEST_F(DatabaseTest, TheLogIsMovedToTheDatabaseBeforeItGrows) {
  const std::string filler(3000, 'x');
  for (int i = 0; i < 4000; ++i) Insert(filler + std::to_string(i));
  EXPECT_LT(std::filesystem::file_size(folder_ / "qvcms.db-wal"), 2000u * 4096u);
}

TEST_F(DatabaseTest, ATextIsPreparedOnceAndInUseTwiceAtOnce) {
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

TEST_F(DatabaseTest, AnErrorNamesTheStatementButNoValue) {
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

/// Adds an item and what `inside` adds, all or nothing.
template <class Inside>
void Step(const char* name, bool keep, Inside&& inside) {
  AllOrNothing whole;
  ThisThread().Prepare("INSERT INTO item (name) VALUES ($1)").Bind(name).Run();
  CountChange("item", Change::Added, 1);
  inside();
  if (keep) whole.Keep();
}
void Step(const char* name, bool keep) {
  Step(name, keep, [] {});
}

TEST_F(DatabaseTest, StepsGoBackAloneWithTheirCounts) {
  {
    UnitOfWork unit;
    EXPECT_THROW(UnitOfWork(), std::logic_error);
    Step("a", true, [&] {
      Step("b", false);
      EXPECT_EQ(unit.counts().at(0).added, 1);
      Step("c", true);
      EXPECT_THROW(Insert("a"), Error);
    });
    Step("d", false, [] { Step("e", true); });
    EXPECT_EQ(unit.counts().at(0).added, 2);
    unit.Commit();
    EXPECT_EQ(UnitOfWork::Current(), nullptr);
    EXPECT_EQ(unit.counts().at(0).added, 2);
  }
  EXPECT_EQ(Items(), "a=0 c=0");
  Step("f", false, [] { EXPECT_EQ(Items(), "a=0 c=0 f=0"); });
  EXPECT_EQ(Items(), "a=0 c=0");
}

}  // namespace
}  // namespace qv::db::test
