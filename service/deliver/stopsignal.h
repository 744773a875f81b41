/// Ends a thread that waits with poll(2).
#pragma once

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>

namespace qvcmsd {

/// Set once, by any thread. Thread-safe.
class StopSignal {
 public:
  /// Throws `std::system_error` when the process has no descriptor left.
  StopSignal() : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (event_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
  }
  ~StopSignal() { close(event_); }
  StopSignal(const StopSignal&) = delete;
  StopSignal& operator=(const StopSignal&) = delete;

  // NOLINTNEXTLINE(readability-make-member-function-const): it changes what others see
  void Set() { eventfd_write(event_, 1); }
  bool is_set() const { return WaitFor(std::chrono::milliseconds(0)); }
  /// Waits until it is set, for `time` at most. @return whether it is set
  bool WaitFor(std::chrono::milliseconds time) const {
    pollfd event = Awaits();
    return poll(&event, 1, static_cast<int>(time.count())) > 0;
  }
  /// To poll for: readable from when it is set.
  pollfd Awaits() const { return {.fd = event_, .events = POLLIN, .revents = 0}; }

 private:
  const int event_;
};

}  // namespace qvcmsd
