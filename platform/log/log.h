/// Settings and output of the package's log (see dbglog.h for what those who log use).
///
/// Until `Configure` is called, lines go to standard error and the levels come from the environment, if at all.
/// Every function may be called from any thread.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace qv::log {

/// What is logged, and to where.
struct Settings {
  int level = 3;               ///< threshold of every category: the least severe `LOG_LEVEL` that is written
  std::string file = {};       ///< lines are appended here, in a file that only its owner may read; empty: no file
  bool to_stderr = true;       ///< write the lines to standard error
  std::vector<int> pids = {};  ///< the processes that `level` applies to; empty: all. The others keep levels 0 to 3
};

/// One message, as it is written.
struct Line {
  std::chrono::system_clock::time_point time;
  std::string level;     ///< name of the level; "-" for a message without one
  std::string category;  ///< name of the category; "-" for a message without one
  std::string file;      ///< name of the source
  int line = 0;          ///< line of the source
  std::string function;
  std::string text;  ///< without its line break, control characters escaped
};

/// Receives lines one at a time. Must not log, nor call a function of this header.
using Sink = std::function<void(const Line&)>;

/// Puts `settings` into force for every later message.
/// @throws std::runtime_error when the log file cannot be opened, std::invalid_argument for more process ids than the
/// shared configuration holds; nothing is changed
void Configure(const Settings& settings);

/// Hands every later line to `sink` instead of writing it; an empty one: lines are written again.
void SetSink(Sink sink);

/// Back to the state at start: no configuration, no sink, lines to standard error.
void Reset();

}  // namespace qv::log
