/// Key files, for a test that looks at them: they lie in the package's folder, which all tests share.
#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "rtspinfo.h"

namespace support {

/// Whoever holds one of these waits until no other test does.
class KeyFiles {
 public:
  KeyFiles() {
    const std::filesystem::path package = std::filesystem::path(RtspKeyFilePath(0)).parent_path().parent_path();
    std::filesystem::create_directories(package);
    lock_ = open((package / "tests.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lock_ < 0 || flock(lock_, LOCK_EX) != 0) throw std::runtime_error("no lock in " + package.string());
  }
  ~KeyFiles() { close(lock_); }
  KeyFiles(const KeyFiles&) = delete;
  KeyFiles& operator=(const KeyFiles&) = delete;

 private:
  int lock_ = -1;
};

}  // namespace support
