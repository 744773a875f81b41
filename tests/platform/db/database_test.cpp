#include "db/database.h"

#include <semaphore>
#include <thread>

#include "db/writerlock.h"
#include "qvdb.h"
#include "support/hosttest.h"

namespace qv::db::test {
namespace {

using support::InUnit;
using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using std::string_literals::operator""s;

using Kind = Error::Kind;

constexpr const char* kItemVersions[] = {"CREATE TABLE item (name TEXT UNIQUE, value INTEGER)"};

std::string NoDifference(const TableColumns& /*found*/) { return ""; }

constexpr Schema kItemSchema{
    .versions = kItemVersions, .postgresql_versions = kItemVersions, .find_difference = NoDifference};

/// A data folder of its own for each test.
struct DatabaseTest : testing::Test {
  DatabaseTest() { OpenItems(); }
  ~DatabaseTest() override { Close(); }

  /// The files with mode and content.
  std::vector<std::string> Files() const { return support::DumpFiles(folder_); }
  static Options ItemOptions(const std::filesystem::path& folder) {
    Options options = support::OptionsFor(folder);
    options.schema = &kItemSchema;
    return options;
  }
  void OpenItems() const { Open(folder_, ItemOptions(folder_)); }

  static void Insert(std::string_view name, int value = 0) {
    ThisThread().Prepare("INSERT INTO item (name, value) VALUES ($1, $2)").Bind(name).Bind(value).Run();
  }
  /// Adds an item and what `inside` adds, all or nothing.
  static void Step(const char* name, bool keep, auto inside) {
    AllOrNothing whole;
    Insert(name);
    CountChange("item", Change::Added, 1);
    inside();
    if (keep) whole.Keep();
  }
  /// "name=value" of every item, joined by blanks.
  static std::string Items() {
    Query items = ThisThread().Prepare("SELECT name || '=' || COALESCE(value, 0) FROM item ORDER BY name");
    std::string text;
    while (items.Next()) text += (text.empty() ? "" : " ") + std::string(items.Row().Text(0));
    return text;
  }
  static int Run(const std::string& sql, DBResult_tag** result, bool log_errors = true) {
    return QVDB::Execute(kDbInstanceMain, sql, result, false, true, log_errors, true);
  }
  /// Matches work that throws an error of the kind, with a text.
  static auto Fails(Kind kind, testing::Matcher<const char*> text) {
    return testing::Throws<Error>(
        testing::AllOf(testing::Property(&Error::kind, kind), testing::Property(&Error::what, text)));
  }

  const support::ScratchFolder scratch_;
  const std::filesystem::path root_ = scratch_.path();
  const std::filesystem::path folder_ = root_ / "data";
};

TEST_F(DatabaseTest, AnUpgradeHappensWholeOrNotAtAll) {
  Insert("a", 1);
  Close();
  static constexpr const char* kVersions[] = {kItemVersions[0], "ALTER TABLE item ADD COLUMN two TEXT",
                                              "ALTER TABLE item ADD COLUMN three TEXT; UPDATE missing SET a = 1"};
  constexpr Schema failing{.versions = kVersions, .postgresql_versions = kVersions, .find_difference = NoDifference};
  Options options = ItemOptions(folder_);
  options.schema = &failing;
  EXPECT_THAT([&] { Open(folder_, options); },
              Fails(Kind::Unusable,
                    AnyOf(HasSubstr("no such table: missing"), HasSubstr("relation \"missing\" does not exist"))));
  EXPECT_FALSE(IsOpen());
  OpenItems();
  EXPECT_EQ(Items(), "a=1");
  EXPECT_THROW(ThisThread().Prepare("SELECT two FROM item").Next(), Error);
}

TEST_F(DatabaseTest, TheLogIsMovedToTheDatabaseBeforeItGrows) {
  SKIP_ON_POSTGRESQL("the server sees to its log");
  const std::string filler(3000, 'x');
  for (int i = 0; i < 4000; ++i) Insert(filler + std::to_string(i));
  EXPECT_LT(std::filesystem::file_size(folder_ / "qvcms.db-wal"), 2000u * 4096u);
}

TEST_F(DatabaseTest, ATextIsPreparedOnceAndInUseTwiceAtOnce) {
  Insert("a");
  Insert("b");
  const auto before = ThisThread().statistics();
  std::string pairs;
  const auto select = [] { return ThisThread().Prepare("SELECT name FROM item WHERE name <= $1 ORDER BY name"); };
  for (int round = 0; round < 2; ++round) {
    Query outer = select();
    outer.Bind("b");
    while (outer.Next()) {
      Query inner = select();
      inner.Bind("b");
      while (inner.Next()) pairs.append(outer.Row().Text(0)).append(inner.Row().Text(0)).append(" ");
      EXPECT_FALSE(inner.Next());  // stays at its end
    }
  }
  EXPECT_EQ(pairs, "aa ab ba bb aa ab ba bb ");
  EXPECT_EQ(ThisThread().statistics().prepared - before.prepared, 2u);
  EXPECT_EQ(ThisThread().statistics().executed - before.executed, 6u);
}

TEST_F(DatabaseTest, AQueryInUseOutlivesTheCacheOfStatements) {
  Insert("a");
  Insert("b");
  const auto prepare = [](const std::string& text) {
    const auto before = ThisThread().statistics().prepared;
    ThisThread().Prepare(text);
    return ThisThread().statistics().prepared - before;
  };
  const char* const select = "SELECT name FROM item ORDER BY name";
  {
    Query items = ThisThread().Prepare(select);
    ASSERT_TRUE(items.Next());
    for (int i = 0; i < 1000; ++i) prepare("SELECT " + std::to_string(i));
    ASSERT_TRUE(items.Next());
    EXPECT_EQ(items.Row().Text(0), "b");
  }
  EXPECT_EQ(prepare(select), 0u) << "it is in the cache still";
  EXPECT_EQ(prepare("SELECT 999"), 0u);
  EXPECT_EQ(prepare("SELECT 0"), 1u) << "it has made room for others";
}

TEST_F(DatabaseTest, AThreadLeavesAFolderThatWasClosed) {
  std::binary_semaphore has_worked(0);
  std::binary_semaphore has_moved(0);
  std::thread other([&] {
    Insert("in the first folder");
    has_worked.release();
    has_moved.acquire();
    Insert("in the second folder");
  });
  has_worked.acquire();
  Close();
  Open(root_ / "second", ItemOptions(root_ / "second"));
  has_moved.release();
  other.join();
  EXPECT_EQ(Items(), "in the second folder=0");
}

TEST_F(DatabaseTest, TheLastToCloseTidiesUpIfTheWriterLockIsFree) {
  SKIP_ON_POSTGRESQL("the server sees to its log");
  Insert("a");
  WriterLock of_another_process(folder_);
  ASSERT_TRUE(of_another_process.Acquire(std::chrono::seconds(1)));
  Close();
  EXPECT_GT(std::filesystem::file_size(folder_ / "qvcms.db-wal"), 0u);
  of_another_process.Release();
  OpenItems();
  Close();
  EXPECT_FALSE(std::filesystem::exists(folder_ / "qvcms.db-wal"));
}

TEST_F(DatabaseTest, ACommandWaitsForAnotherWriterIfItIsToldTo) {
  std::binary_semaphore writes(0);
  std::binary_semaphore may_end(0);
  std::thread other([&] {
    const AllOrNothing given_up;
    writes.release();
    may_end.acquire();
  });
  writes.acquire();
  const auto insert = [](bool waits) {
    return QVDB::Execute(kDbInstanceMain, "INSERT INTO item (name) VALUES ('a')", nullptr, false, waits, false, false);
  };
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(insert(false), -1);
  EXPECT_LT(std::chrono::steady_clock::now() - before, ItemOptions(folder_).driver.busy_timeout / 2);
  std::thread writer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    may_end.release();
  });
  EXPECT_EQ(insert(true), 0);
  writer.join();
  other.join();
}

TEST_F(DatabaseTest, AnErrorNamesTheStatementButNoValue) {
  Insert("secret-key");
  const auto no_value = Not(HasSubstr("secret-key"));
  EXPECT_THAT([] { Insert("secret-key"); },
              Fails(Kind::Statement, testing::AllOf(HasSubstr("INSERT INTO item"),
                                                    AnyOf(HasSubstr("UNIQUE constraint failed: item.name"),
                                                          HasSubstr("duplicate key value violates unique")),
                                                    no_value)));
  EXPECT_THAT([] { ThisThread().Execute("INSERT INTO item (name) VALUES ('secret-key')"); },
              Fails(Kind::Statement, no_value));
  EXPECT_EQ(ThisThread().Prepare("DELETE FROM item").Run(), 1);  // a failed statement blocks nothing
}

TEST_F(DatabaseTest, StepsGoBackAloneWithTheirCounts) {
  {
    UnitOfWork unit;
    EXPECT_THROW(UnitOfWork(), std::logic_error);
    Step("a", true, [&] {
      Step("b", false, [] {});
      EXPECT_EQ(unit.counts().at(0).added, 1);
      Step("c", true, [] {});
      EXPECT_THROW(Insert("a"), Error);
    });
    Step("d", false, [] { Step("e", true, [] {}); });
    EXPECT_EQ(unit.counts().at(0).added, 2);
    unit.Commit();
    EXPECT_EQ(UnitOfWork::Current(), nullptr);
    EXPECT_EQ(unit.counts().at(0).added, 2);
  }
  EXPECT_EQ(Items(), "a=0 c=0");
  Step("f", false, [] { EXPECT_EQ(Items(), "a=0 c=0 f=0"); });
  EXPECT_EQ(Items(), "a=0 c=0");
}

TEST_F(DatabaseTest, FailureLeavesEverythingAsItWasAndOneLine) {
  Insert("kept", 1);
  for (const char* sql : {"DELETE FROM item; SELECT * FROM missing",
                          "INSERT INTO item VALUES ('x', 1); INSERT INTO item VALUES ('kept', 2)"}) {
    auto* const untouched = reinterpret_cast<DBResult_tag*>(this);
    DBResult_tag* result = untouched;
    testing::internal::CaptureStderr();
    EXPECT_EQ(Run(sql, &result), -1) << sql;
    const std::string log = testing::internal::GetCapturedStderr();
    testing::internal::CaptureStderr();
    EXPECT_EQ(Run(sql, nullptr, false), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_THAT(log, HasSubstr("Failed to execute a command on database [0]: "));
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
    EXPECT_EQ(result, untouched);
    EXPECT_EQ(Items(), "kept=1");
  }
}

}  // namespace
}  // namespace qv::db::test
