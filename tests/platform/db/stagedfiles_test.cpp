#include <gmock/gmock.h>

#include <fstream>

#include "support.h"
#include "support/hoststate.h"

namespace qv::db::test {
namespace {

using testing::ElementsAre;

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
