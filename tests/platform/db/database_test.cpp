#include <gmock/gmock.h>
#include <sys/stat.h>

#include <csignal>
#include <thread>

#include "support.h"

namespace qv::db::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

int ModeOf(const std::filesystem::path& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? static_cast<int>(status.st_mode & 0777) : -1;
}

TEST_F(DatabaseTest, EverythingInTheFolderIsForItsOwnerAlone) {
  OpenItems();
  Insert("a");
  EXPECT_EQ(ModeOf(folder_), 0700);
  for (const char* name : {"qvcms.db", "qvcms.db-wal", "qvcms.db-shm", "writer.lock"}) {
    EXPECT_EQ(ModeOf(folder_ / name), 0600) << name;
  }
}

TEST_F(DatabaseTest, ReadingAndRollingBackLeaveTheFileAsItWas) {
  OpenItems();
  Insert("a", 1);
  Close();
  EXPECT_THAT(Files(), ElementsAre("qvcms.db"));
  const std::string before = Read(folder_ / "qvcms.db");

  OpenItems();
  EXPECT_EQ(Items(), "a=1");
  {
    UnitOfWork unit;
    const std::string filler(1000, 'x');
    for (int i = 0; i < 5000; ++i) Insert(filler + std::to_string(i));  // more than the page cache holds
    EXPECT_TRUE(StageFile("files", "a/b", "content"));
    EXPECT_EQ(std::filesystem::file_size(folder_ / "qvcms.db-wal"), 0u);
  }
  EXPECT_EQ(Items(), "a=1");
  Close();
  EXPECT_THAT(Files(), ElementsAre("qvcms.db"));
  EXPECT_EQ(Read(folder_ / "qvcms.db"), before);
}

TEST_F(DatabaseTest, AMigrationHappensWholeOrNotAtAll) {
  OpenItems();
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

TEST_F(DatabaseTest, WhatCannotBeOpenedIsNamed) {
  std::filesystem::create_directories(folder_);
  std::ofstream(folder_ / "qvcms.db") << std::string(4096, 'x');
  const auto [kind, text] = ErrorOf([&] { OpenItems(); });
  EXPECT_EQ(kind, Error::Kind::Unusable);
  EXPECT_THAT(text, HasSubstr("file is not a database"));
  EXPECT_THAT(text, HasSubstr(folder_.string()));

  const auto [file_kind, file_text] = ErrorOf([&] { Open(folder_ / "qvcms.db", ItemOptions()); });
  EXPECT_EQ(file_kind, Error::Kind::Unusable);
  EXPECT_THAT(file_text, HasSubstr("cannot make the data folder"));
}

TEST_F(DatabaseTest, ProcessesThatMeetInANewFolderAllFindIt) {
  std::vector<pid_t> children;
  for (int process = 0; process < 6; ++process) {
    children.push_back(Start([&] {
      OpenItems();
      for (int i = 0; i < 20; ++i) Insert("p" + std::to_string(getpid()) + "-" + std::to_string(i));
    }));
  }
  for (const pid_t child : children) EXPECT_EQ(Wait(child), 0);
  OpenItems();
  Query count = ThisThread().Prepare("SELECT count(*) FROM item");
  ASSERT_TRUE(count.Next());
  EXPECT_EQ(count.Row().Int(0), 120);
}

TEST_F(DatabaseTest, ReadersDoNotWaitAndWritersWaitOnlySoLong) {
  Options options = ItemOptions();
  options.driver.busy_timeout = std::chrono::milliseconds(150);
  Open(folder_, options);
  Close();
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t writer = Start([&] {
    OpenItems();
    UnitOfWork unit;
    Insert("from the other process");
    if (write(ready[1], "x", 1) != 1) _exit(2);
    pause();
  });
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  Open(folder_, options);
  EXPECT_EQ(Items(), "");
  const auto busy = [](const auto& work) {
    const auto [kind, text] = ErrorOf(work);
    EXPECT_EQ(kind, Error::Kind::Busy);
    EXPECT_THAT(text, HasSubstr("try again"));
  };
  busy([] { UnitOfWork unit; });
  busy([] { Insert("a"); });
  kill(writer, SIGKILL);
  EXPECT_EQ(Wait(writer), -SIGKILL);
  Insert("b", 2);  // the dead process holds nothing any more
  EXPECT_EQ(Items(), "b=2");
  close(ready[0]);
  close(ready[1]);
}

TEST_F(DatabaseTest, UnitsOfWorkOfThreadsAndProcessesFollowOneAnother) {
  OpenItems();
  Insert("counter", 0);
  Close();
  const auto add = [] {
    for (int i = 0; i < 50; ++i) {
      UnitOfWork unit;
      std::int64_t value = 0;
      {
        Query query = ThisThread().Prepare("SELECT value FROM item");
        if (query.Next()) value = query.Row().Int(0);
      }
      ThisThread().Prepare("UPDATE item SET value = $1").Bind(value + 1).Run();
      unit.Commit();
    }
  };
  std::vector<pid_t> children;
  for (int process = 0; process < 2; ++process) {
    children.push_back(Start([&] {
      OpenItems();
      std::thread first(add);
      std::thread second(add);
      first.join();
      second.join();
    }));
  }
  for (const pid_t child : children) EXPECT_EQ(Wait(child), 0);
  OpenItems();
  EXPECT_EQ(Items(), "counter=200");
}

TEST_F(DatabaseTest, TheLogIsMovedToTheDatabaseBeforeItGrows) {
  OpenItems();
  const std::string filler(3000, 'x');
  for (int i = 0; i < 4000; ++i) Insert(filler + std::to_string(i));
  EXPECT_LT(std::filesystem::file_size(folder_ / "qvcms.db-wal"), 2000u * 4096u);
}

}  // namespace
}  // namespace qv::db::test
