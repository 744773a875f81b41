#include "progressline.h"

#include <unistd.h>

#include <cstdio>
#include <string>

namespace qvcms {
namespace {

constexpr std::chrono::seconds kDelay{1};

/// Goes to the start of the line and clears it.
constexpr const char* kClear = "\r\033[K";

}  // namespace

ProgressLine::ProgressLine() : is_terminal_(isatty(STDERR_FILENO) == 1) {}

ProgressLine::~ProgressLine() {
  if (is_shown_) static_cast<void>(std::fputs(kClear, stderr));
}

qv::ProgressCallback ProgressLine::Callback() {
  if (!is_terminal_) return nullptr;
  return [this](const qv::Progress& progress) {
    if (std::chrono::steady_clock::now() - start_ < kDelay) return;
    is_shown_ = true;
    // The cursor goes back to the start: a line of the log, which is longer, takes the place of this one.
    const std::string line = kClear + std::string(progress.kind) + ' ' + std::to_string(progress.done) + " of " +
                             std::to_string(progress.total) + '\r';
    static_cast<void>(std::fputs(line.c_str(), stderr));
    static_cast<void>(std::fflush(stderr));
  };
}

}  // namespace qvcms
