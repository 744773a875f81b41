#include "db/database.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "qvdb.h"
#include "support/hoststate.h"
#include "support/scratch.h"

namespace qv::db::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr Migration kItemSchema[] = {
    {1, [](Session& session) { session.Execute("CREATE TABLE item (name TEXT UNIQUE, value INTEGER)"); }}};

/// A data folder of its own for each test.
class DatabaseTest : public testing::Test {
 protected:
  DatabaseTest() { OpenItems(); }
  ~DatabaseTest() override { Close(); }

  static Options ItemOptions() {
    return {.driver = {.busy_timeout = std::chrono::seconds(10), .durability = Durability::Process},
            .factory = {},
            .migrations = kItemSchema};
  }
  void OpenItems() { Open(folder_, ItemOptions()); }

  static void Insert(std::string_view name, int value = 0) {
    ThisThread().Prepare("INSERT INTO item (name, value) VALUES ($1, $2)").Bind(name).Bind(value).Run();
  }
  /// "name=value" of every item, joined by blanks.
  static std::string Items() {
    std::string items;
    Query query = ThisThread().Prepare("SELECT name, value FROM item ORDER BY name");
    while (query.Next()) {
      items += (items.empty() ? "" : " ") + std::string(query.Row().Text(0)) + "=" + std::to_string(query.Row().Int(1));
    }
    return items;
  }
  /// The kind and text of the error that `work` throws.
  template <class Work>
  static std::pair<Error::Kind, std::string> ErrorOf(Work&& work) {
    try {
      work();
    } catch (const Error& error) {
      return {error.kind(), error.what()};
    }
    ADD_FAILURE() << "no error";
    return {Error::Kind::Statement, ""};
  }

  const support::ScratchFolder scratch_;
  const std::filesystem::path root_ = scratch_.path();
  const std::filesystem::path folder_ = root_ / "data";
};

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
    EXPECT_EQ(QVDB::Execute(kDbInstanceMain, sql, nullptr, false, true, false, true), -1) << "without a word";
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_THAT(log, HasSubstr("Failed to execute a command on database [0]: "));
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
    EXPECT_EQ(result, untouched);
    EXPECT_EQ(Items(), "kept=1");
  }
}

class StagedFilesTest : public DatabaseTest {
 protected:
  /// The files with mode and content.
  std::vector<std::string> Files() const { return support::DumpFiles(folder_); }
};

TEST_F(StagedFilesTest, FilesFollowTheRows) {
  EXPECT_TRUE(StageFile("files", "at/once", "0"));
  EXPECT_THAT(Files(), ElementsAre("files/at/once 384 0"));
  {
    UnitOfWork unit;
    EXPECT_TRUE(StageFile("files", "a/b/c", "1"));
    EXPECT_TRUE(StageFile("files", "a/b/c", "2"));
    EXPECT_TRUE(StageRemoval("files", "at"));
    {
      AllOrNothing step;
      EXPECT_TRUE(StageFile("files", "gone/back", "3"));
    }
    EXPECT_THAT(Files(), ElementsAre("files/at/once 384 0"));
    unit.Commit();
  }
  EXPECT_THAT(Files(), ElementsAre("files/a/b/c 384 2"));
  {
    UnitOfWork unit;
    EXPECT_TRUE(StageRemoval("files", "a"));
    EXPECT_TRUE(StageFile("files", "d", "4"));
  }
  EXPECT_THAT(Files(), ElementsAre("files/a/b/c 384 2"));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "staging"));
}

TEST_F(StagedFilesTest, NoNameLeadsOut) {
  ASSERT_TRUE(StageFile("files", "folder/file", "kept"));
  std::filesystem::create_directory(root_ / "outside");
  std::ofstream(root_ / "outside/file") << "kept";
  std::filesystem::create_symlink(root_ / "outside", folder_ / "files/link");
  std::filesystem::create_symlink(root_ / "outside/file", folder_ / "files/filelink");
  for (const std::string& name :
       {std::string(), std::string("/etc/x"), std::string("../x"), std::string("a/../../x"), std::string("a\0b", 3),
        std::string("."), std::string("./"), std::string("link/x"), std::string("filelink"), std::string("link"),
        std::string("folder/file/x"), std::string(300, 'n'), std::string(6000, '/') + "x"}) {
    EXPECT_FALSE(StageFile("files", name, "bad")) << name;
    EXPECT_FALSE(StageRemoval("files", name)) << name;
  }
  EXPECT_FALSE(StageFile("files", "folder", "a folder is there"));
  EXPECT_FALSE(StageFile("files", "new/", "a folder is meant"));
  {
    UnitOfWork unit;
    EXPECT_TRUE(StageFile("files", "late/file", "bad"));
    EXPECT_TRUE(StageRemoval("files", "folder"));
    std::filesystem::create_symlink(root_ / "outside", folder_ / "files/late");  // planted after the check
    std::filesystem::create_symlink(root_ / "outside", folder_ / "files/folder/inner");
    unit.Commit();
  }
  EXPECT_EQ(support::ReadWholeFile(root_ / "outside/file"), "kept");
  EXPECT_FALSE(std::filesystem::exists(folder_ / "files/folder"));
  Query pending = ThisThread().Prepare("SELECT target FROM staged_file");
  EXPECT_FALSE(pending.Next());  // what can never be done is given up
}

}  // namespace
}  // namespace qv::db::test
