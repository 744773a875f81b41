/// Something that fails for a while, such as a receiver that is away: pauses between attempts, and what the log says.
#pragma once

#include <algorithm>
#include <chrono>
#include <string>

#include "log.h"

namespace qvcmsd {

/// Belongs to one thread.
class Outage {
 public:
  /// @param over  what the log says at the end: "messages for msgd are delivered again"
  Outage(Log& log, std::string over) : log_(log), over_(std::move(over)) {}

  /// An attempt has failed. The next pause is longer. @param line  for the log, if the outage has just begun
  /// @return whether it has
  bool Failed(const std::string& line) {
    failed_at_ = Clock::now();
    pause_ = std::clamp(pause_ * 2, kFirstPause, kLongestPause);
    if (lasts_) return false;
    lasts_ = true;
    began_at_ = failed_at_;
    log_.Write(Level::Warning, line);
    return true;
  }
  /// An attempt has succeeded. The outage is over once nothing has failed for a while: what succeeds and fails in turn
  /// is one outage.
  void Succeeded() {
    pause_ = std::chrono::milliseconds(0);
    const auto now = Clock::now();
    if (!lasts_ || now - failed_at_ < kSettled) return;
    lasts_ = false;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now - began_at_).count();
    log_.Write(Level::Notice, over_ + ", after " + std::to_string(seconds) + " s");
  }
  /// Before the next attempt; 0: the last one has succeeded.
  std::chrono::milliseconds pause() const { return pause_; }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds kFirstPause{250};
  static constexpr std::chrono::milliseconds kLongestPause{30'000};
  static constexpr std::chrono::seconds kSettled{2};

  Log& log_;
  const std::string over_;
  bool lasts_ = false;
  std::chrono::milliseconds pause_{0};
  Clock::time_point began_at_, failed_at_;
};

}  // namespace qvcmsd
