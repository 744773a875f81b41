/// A line on the terminal that says how far a command has come.
#pragma once

#include <qv/host.h>

#include <chrono>

namespace qvcms {

/// Shows progress on standard error while it lives, from a second after its construction on; nothing when standard
/// error is no terminal.
class ProgressLine {
 public:
  ProgressLine();
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  /// For the host; empty when nothing is to be shown. Must not be called after the line is gone.
  qv::ProgressCallback Callback();

 private:
  const bool is_terminal_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  bool is_shown_ = false;
};

}  // namespace qvcms
