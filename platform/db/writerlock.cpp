#include "db/writerlock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>

#include "db/remedy.h"

namespace qv::db {

WriterLock::WriterLock(const std::filesystem::path& folder) : path_(folder / "writer.lock") {}

bool WriterLock::Acquire(std::chrono::milliseconds limit) {
  if (holder_ == std::this_thread::get_id()) {
    ++depth_;
    return true;
  }
  const Clock::time_point deadline = Clock::now() + limit;
  if (!WaitForThreads(deadline)) return false;
  try {
    if (WaitForProcesses(deadline)) return true;
  } catch (...) {
    LetNextThread();
    throw;
  }
  LetNextThread();
  return false;
}

void WriterLock::Release() noexcept {
  if (--depth_ > 0) return;
  flock(file_.get(), LOCK_UN);
  LetNextThread();
}

bool WriterLock::WaitForThreads(Clock::time_point deadline) {
  std::unique_lock guard(mutex_);
  const std::uint64_t ticket = next_ticket_++;
  waiting_.push_back(ticket);
  const bool mine =
      turn_.wait_until(guard, deadline, [&] { return holder_ == std::thread::id() && waiting_.front() == ticket; });
  waiting_.erase(std::find(waiting_.begin(), waiting_.end(), ticket));
  if (mine) {
    depth_ = 1;
    holder_ = std::this_thread::get_id();
  } else {
    turn_.notify_all();  // the one behind may have become the first
  }
  return mine;
}

bool WriterLock::WaitForProcesses(Clock::time_point deadline) {
  if (!file_) {
    file_ = files::FileDescriptor(open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!file_) {
      throw Error(Error::Kind::Unusable,
                  "cannot open " + path_.string() + ": " + std::strerror(errno) + RemedyFor(errno));
    }
  }
  std::chrono::microseconds pause(100);
  while (flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) {
      throw Error(Error::Kind::Unusable, "cannot lock " + path_.string() + ": " + std::strerror(errno));
    }
    const Clock::time_point now = Clock::now();
    if (now >= deadline) return false;
    std::this_thread::sleep_for(std::min<Clock::duration>(pause, deadline - now));
    pause = std::min(pause * 2, std::chrono::microseconds(5000));
  }
  return true;
}

void WriterLock::LetNextThread() noexcept {
  {
    const std::lock_guard guard(mutex_);
    holder_ = std::thread::id();
  }
  turn_.notify_all();
}

Error BusyError(const std::string& what, std::chrono::milliseconds limit) {
  return {Error::Kind::Busy, "another process or thread has been writing to " + what + " for more than " +
                                 std::to_string(limit.count()) + " ms"};
}

}  // namespace qv::db
