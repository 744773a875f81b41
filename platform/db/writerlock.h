/// The lock that lets one writer at a time write to a data folder. Threads of one process get it first come, first
/// served. Processes exclude each other by an advisory lock on a file, which the system releases when a process dies.
///
/// Thread-safe. A thread that has the lock may acquire it again, and must release it as often.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>

#include "db/driver.h"
#include "files/descriptor.h"

namespace qv::db {

class WriterLock {
 public:
  explicit WriterLock(const std::filesystem::path& folder);

  /// Waits up to `limit`. The first call makes `<folder>/writer.lock` (mode 0600) if it is missing, so that a folder
  /// that is only looked at is left as it is. @return false when the lock was not free in time. Throws `Error`
  /// (Unusable) when the file cannot be opened or locked.
  bool Acquire(std::chrono::milliseconds limit);
  void Release() noexcept;

 private:
  using Clock = std::chrono::steady_clock;
  bool WaitForThreads(Clock::time_point deadline);
  bool WaitForProcesses(Clock::time_point deadline);
  void LetNextThread() noexcept;

  std::filesystem::path path_;
  files::FileDescriptor file_;  ///< used by the thread whose turn it is
  std::mutex mutex_;
  std::condition_variable turn_;
  std::deque<std::uint64_t> waiting_;  ///< tickets, first come first
  std::uint64_t next_ticket_ = 0;
  std::atomic<std::thread::id> holder_{};  ///< the thread whose turn it is; none until it has given up the file's lock
  int depth_ = 0;                          ///< how often that thread has acquired it; others do not look at it
};

/// For who has waited for `limit` in vain. @param what  that others have been writing to
Error BusyError(const std::string& what, std::chrono::milliseconds limit);

}  // namespace qv::db
