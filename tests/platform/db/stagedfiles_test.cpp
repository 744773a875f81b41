#include <gmock/gmock.h>
#include <sys/stat.h>

#include <csignal>

#include "support.h"

namespace qv::db::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class StagedFilesTest : public DatabaseTest {
 protected:
  /// Runs `work` in a process that is killed right after its first commit.
  template <class Work>
  void KilledAfterCommit(Work&& work) {
    EXPECT_EQ(InProcess([&] {
                bool armed = false;  // opening commits too
                Options options = ItemOptions();
                options.factory = [&armed](const std::filesystem::path& folder, const DriverOptions& driver) {
                  return std::make_unique<CommitWatcher>(OpenSqlite(folder, driver), [&armed] {
                    if (armed) kill(getpid(), SIGKILL);
                  });
                };
                Open(folder_, options);
                armed = true;
                work();
              }),
              -SIGKILL);
  }
  /// What lies in the folder "files", with contents.
  std::string Tree() const {
    std::string tree;
    for (const std::string& name : Files()) {
      if (name.starts_with("files/") && std::filesystem::is_regular_file(folder_ / name)) {
        tree += name.substr(6) + "=" + Read(folder_ / name) + " ";
      }
    }
    return tree;
  }
};

TEST_F(StagedFilesTest, FilesFollowTheRows) {
  OpenItems();
  EXPECT_TRUE(StageFile("files", "at/once", "0"));
  EXPECT_EQ(Tree(), "at/once=0 ");
  {
    UnitOfWork unit;
    EXPECT_TRUE(StageFile("files", "a/b/c", "1"));
    EXPECT_TRUE(StageFile("files", "a/b/c", "2"));
    EXPECT_TRUE(StageRemoval("files", "at"));
    {
      AllOrNothing step;
      EXPECT_TRUE(StageFile("files", "gone/back", "3"));
    }
    EXPECT_EQ(Tree(), "at/once=0 ");
    unit.Commit();
  }
  EXPECT_EQ(Tree(), "a/b/c=2 ");
  struct stat status = {};
  ASSERT_EQ(stat((folder_ / "files/a/b/c").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  {
    UnitOfWork unit;
    EXPECT_TRUE(StageRemoval("files", "a"));
    EXPECT_TRUE(StageFile("files", "d", "4"));
  }
  EXPECT_EQ(Tree(), "a/b/c=2 ");
  EXPECT_FALSE(std::filesystem::exists(folder_ / "staging"));
}

TEST_F(StagedFilesTest, NoNameLeadsOut) {
  OpenItems();
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
  EXPECT_EQ(Read(root_ / "outside/file"), "kept");
  EXPECT_FALSE(std::filesystem::exists(folder_ / "files/folder"));
  Query pending = ThisThread().Prepare("SELECT target FROM staged_file");
  EXPECT_FALSE(pending.Next());  // what can never be done is given up
}

TEST_F(StagedFilesTest, AKilledProcessLeavesAllOrNothing) {
  OpenItems();
  ASSERT_TRUE(StageFile("files", "old/file", "old"));
  Close();
  const auto work = [] {
    UnitOfWork unit;
    Insert("row", 1);
    StageRemoval("files", "old");
    StageFile("files", "old/file", "new");
    StageFile("files", "second", "2");
    StageRemoval("files", "third");
    unit.Commit();
  };
  EXPECT_EQ(InProcess([&] {
              OpenItems();
              UnitOfWork unit;
              Insert("row", 1);
              StageFile("files", "old/file", "new");
              kill(getpid(), SIGKILL);
            }),
            -SIGKILL);
  OpenItems();
  { UnitOfWork sweeps; }
  EXPECT_EQ(Items(), "");
  EXPECT_EQ(Tree(), "old/file=old ");
  EXPECT_FALSE(std::filesystem::exists(folder_ / "staging"));
  Close();

  KilledAfterCommit(work);
  EXPECT_EQ(Tree(), "old/file=old ");  // the rows are there, the files not yet
  OpenItems();
  EXPECT_EQ(Items(), "row=1");
  EXPECT_EQ(Tree(), "old/file=new second=2 ");
  EXPECT_FALSE(std::filesystem::exists(folder_ / "staging"));
}

TEST_F(StagedFilesTest, RepeatingWhatIsDoneHarmsNothing) {
  OpenItems();
  ThisThread().Execute(
      "INSERT INTO staged_file (operation, staged, target) VALUES ('remove', '', 'files/a'),"
      "('write', 'moved', 'files/a'), ('write', 'waits', 'files/b'), ('remove', '', 'files/c')");
  std::filesystem::create_directories(folder_ / "staging");
  std::filesystem::create_directories(folder_ / "files");
  std::ofstream(folder_ / "files/a") << "new";        // removed and written, then the process died
  std::ofstream(folder_ / "staging/waits") << "two";  // not moved yet
  std::ofstream(folder_ / "files/c") << "three";      // still to be removed
  std::ofstream(folder_ / "staging/orphan") << "x";
  Close();
  OpenItems();
  EXPECT_EQ(Tree(), "a=new b=two ");
  Query pending = ThisThread().Prepare("SELECT target FROM staged_file");
  EXPECT_FALSE(pending.Next());
  EXPECT_FALSE(std::filesystem::exists(folder_ / "staging"));
}

}  // namespace
}  // namespace qv::db::test
