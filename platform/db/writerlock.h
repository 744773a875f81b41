/// The lock that lets one writer at a time at a data folder: among the threads of this process in the order of their
/// coming, among processes through an advisory lock on a file, which vanishes with the process that held it.
///
/// The lock is not recursive; `WriterHold` keeps count for its thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <mutex>

#include "../files/descriptor.h"

namespace qv::db {

class WriterLock {
 public:
  /// Opens `<folder>/writer.lock`, making it (mode 0600) when it is missing. Throws `Error` (Unusable).
  explicit WriterLock(const std::filesystem::path& folder);

  /// Waits up to `limit`. @return false when the lock was not free in time. Throws `Error` (Unusable) when the file
  /// system cannot lock.
  bool Acquire(std::chrono::milliseconds limit);
  void Release() noexcept;

 private:
  using Clock = std::chrono::steady_clock;
  bool WaitForThreads(Clock::time_point deadline);
  bool WaitForProcesses(Clock::time_point deadline);
  void LetNextThread() noexcept;

  std::filesystem::path path_;
  files::FileDescriptor file_;
  std::mutex mutex_;
  std::condition_variable turn_;
  std::deque<std::uint64_t> waiting_;  ///< tickets, first come first
  std::uint64_t next_ticket_ = 0;
  bool held_ = false;
};

}  // namespace qv::db
