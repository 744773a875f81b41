/// What a test needs of the system besides a folder: processes of its own, and key files without others.
#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "files/descriptor.h"
#include "rtspinfo.h"
#include "scratchfolder.h"

namespace support {

/// Key files lie in the package's folder, which all tests share. A test that looks at them holds one of these, so that
/// no other such test runs, and has servers with ids of its own, since others remove the servers 1 to 12 at any time.
struct KeyFiles {
  KeyFiles() {
    const std::filesystem::path package = std::filesystem::path(RtspKeyFilePath(0)).parent_path().parent_path();
    std::filesystem::create_directories(package);
    lock = qv::files::FileDescriptor(open((package / "tests.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!lock || flock(lock.get(), LOCK_EX) != 0) throw std::runtime_error("no lock in " + package.string());
  }
  qv::files::FileDescriptor lock;
};

/// Starts a process that ends with the status that `work` returns; an exception kills it.
pid_t StartChild(auto&& work) noexcept {
  const pid_t child = fork();
  if (child == 0) _exit(work());
  return child;
}

/// Waits for a process. @return its exit status, or minus the signal that ended it; `usage` receives what it used
inline int EndOf(pid_t child, rusage* usage = nullptr) {
  int status = 0;
  if (wait4(child, &status, 0, usage) != child) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace support
