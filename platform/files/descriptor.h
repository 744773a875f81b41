/// An open file descriptor that closes itself, and what every writer of files does with one.
#pragma once

#include <unistd.h>

#include <string_view>
#include <utility>

namespace qv::files {

class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~FileDescriptor() {
    if (descriptor_ >= 0) close(descriptor_);
  }

  int get() const { return descriptor_; }
  explicit operator bool() const { return descriptor_ >= 0; }

 private:
  int descriptor_ = -1;
};

/// Writes all of `content`. @return false, with `errno`, when a part of it could not be written
bool WriteAll(int file, std::string_view content);

}  // namespace qv::files
