/// A receiver that is away: pauses between attempts, and what the log says.
#pragma once

#include <algorithm>
#include <chrono>
#include <string>

#include "log.h"

namespace qvcmsd {

/// Belongs to one thread.
class Outage {
 public:
  /// @param what  does not arrive: "messages for msgd"
  Outage(Log& log, std::string what) : log_(log), what_(std::move(what)) {}

  /// An attempt has failed. The next pause is longer. @return whether the outage has just begun
  bool Tell(const std::string& receiver_and_reason) {
    const bool begins = pause_.count() == 0;
    if (begins) {
      since_ = Clock::now();
      log_.Write(Level::Warning, what_ + " cannot be delivered to " + receiver_and_reason);
    }
    pause_ = std::clamp(pause_ * 2, kFirstPause, kLongestPause);
    return begins;
  }
  /// Something was delivered.
  void End() {
    if (pause_.count() == 0) return;
    pause_ = std::chrono::milliseconds(0);
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - since_).count();
    log_.Write(Level::Notice, what_ + " are delivered again, after " + std::to_string(seconds) + " s");
  }
  /// Before the next attempt; 0: there is no outage.
  std::chrono::milliseconds pause() const { return pause_; }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds kFirstPause{250};
  static constexpr std::chrono::milliseconds kLongestPause{30'000};

  Log& log_;
  const std::string what_;
  std::chrono::milliseconds pause_{0};
  Clock::time_point since_;
};

}  // namespace qvcmsd
