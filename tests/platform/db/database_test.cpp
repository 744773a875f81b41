#include <gmock/gmock.h>
#include <sys/wait.h>

#include "support.h"

namespace qv::db::test {
namespace {

using testing::HasSubstr;

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

TEST_F(DatabaseTest, ProcessesThatMeetInANewFolderAllFindIt) {
  Close();
  folder_ = root_ / "new";
  std::vector<pid_t> children;
  for (int process = 0; process < 6; ++process) {
    children.push_back(fork());
    if (children.back() != 0) continue;
    [&]() noexcept {  // a failure ends the process by a signal
      OpenItems();
      for (int i = 0; i < 20; ++i) Insert("p" + std::to_string(getpid()) + "-" + std::to_string(i));
      _exit(0);
    }();
  }
  for (const pid_t child : children) {
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  OpenItems();
  Query count = ThisThread().Prepare("SELECT count(*) FROM item");
  ASSERT_TRUE(count.Next());
  EXPECT_EQ(count.Row().Int(0), 120);
}

TEST_F(DatabaseTest, TheLogIsMovedToTheDatabaseBeforeItGrows) {
  const std::string filler(3000, 'x');
  for (int i = 0; i < 4000; ++i) Insert(filler + std::to_string(i));
  EXPECT_LT(std::filesystem::file_size(folder_ / "qvcms.db-wal"), 2000u * 4096u);
}

}  // namespace
}  // namespace qv::db::test
