#include "rtspinfo.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <fstream>

#include "support/hosttest.h"

namespace {

using RtspInfo = support::HostTest;

/// Runs `work` in a process in which the system has the package's user, with the id 54321.
/// @return what `work` returns; 9 if this system does not allow such a process
int RunWithPackageUser(const std::filesystem::path& folder, const std::function<int()>& work) {
  std::ofstream(folder / "passwd") << "Quorvane:x:54321:54321::/:/bin/false\n";
  return support::EndOf(support::StartChild([&] {
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount((folder / "passwd").c_str(), "/etc/passwd", nullptr, MS_BIND, nullptr) != 0) {
      return 9;
    }
    return work();
  }));
}

TEST_F(RtspInfo, TheFileAndTheFolderThatIsMadeForItBelongToThePackageUser) {
  const std::filesystem::path found = folder() / "found";
  const std::filesystem::path made = folder() / "found/made";
  std::filesystem::create_directory(found);
  const int result = RunWithPackageUser(folder(), [&] {
    return SetRtspInfoToConf(found / "key", {}) == 0 && SetRtspInfoToConf(made / "key", {}) == 0 &&
                   SetFileOwnerToQV(made / "key", false) == 0
               ? 0
               : 1;
  });
  if (result == 9) GTEST_SKIP() << "only root may give a process its own users";
  EXPECT_EQ(result, 0);
  for (const auto& [path, owner] :
       {std::pair(made, 54321U), std::pair(made / "key", 54321U), std::pair(found, geteuid())}) {
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, owner) << path;
  }
  EXPECT_EQ(std::filesystem::status(made).permissions(), std::filesystem::perms(0700));
}

}  // namespace
