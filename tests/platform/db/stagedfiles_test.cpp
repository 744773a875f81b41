#include <sys/stat.h>

#include <numeric>
#include <set>

#include "support.h"

namespace qv::db::test {
namespace {

class StagedFilesTest : public DatabaseTest {
 protected:
  /// What lies in the folder "files", with contents.
  std::string Tree() const {
    std::set<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_ / "files")) {
      const std::string name = entry.path().lexically_relative(folder_ / "files");
      if (entry.is_regular_file()) files.insert(name + "=" + Read(entry.path()) + " ");
    }
    return std::accumulate(files.begin(), files.end(), std::string());
  }
};

TEST_F(StagedFilesTest, FilesFollowTheRows) {
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

}  // namespace
}  // namespace qv::db::test
