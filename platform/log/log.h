/// Settings and output of the package's log. The functions that write a message are in include/dbglog.h and, for the
/// platform itself, in log/message.h.
///
/// Until `Configure` is called, lines go to standard error, and the levels come from the environment if it has any.
/// All functions are thread-safe.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace qv::log {

/// What is logged, and where to.
struct Settings {
  int level = 3;                   ///< threshold of every category: the least severe `LOG_LEVEL` that is written
  std::string file = {};           ///< lines are appended here, in a file that only its owner may read; empty: no file
  std::size_t max_file_bytes = 0;  ///< the file is rotated before it grows beyond this; 0: never
  std::size_t kept_files = 4;      ///< rotated files that are kept: file.1, file.2 and so on, 1 being the newest
  bool to_stderr = true;           ///< write the lines to standard error
  std::vector<int> pids = {};  ///< the processes that `level` applies to; empty: all. Other processes log levels 0 to 3
};

/// One message as it is written. Texts are escaped as by `text::EscapeLine`.
struct Line {
  std::chrono::system_clock::time_point time;
  std::string level;     ///< name of the level; "-" for a message without one
  std::string category;  ///< name of the category; "-" for a message without one
  std::string file;      ///< name of the source
  int line = 0;          ///< line of the source
  std::string function;
  std::string text;  ///< without its line break
};

/// Receives lines one at a time. Must not log, nor call a function of this header.
using Sink = std::function<void(const Line&)>;

/// Writes a line, or keeps it back (`HeldLines`). @return its length, or -1 when it could not be written
int Write(const Line& line);

/// Applies `settings` to every later message.
/// @throws std::runtime_error if the log file cannot be opened, std::invalid_argument if `pids` has more than
/// `kLogMaxFilteredPids` entries; then nothing is changed
void Configure(const Settings& settings);

/// Passes every later line to `sink` instead of writing it. An empty `sink`: lines are written again.
void SetSink(Sink sink);

/// Restores the state at start: no configuration, no sink, lines to standard error.
void Reset();

}  // namespace qv::log
