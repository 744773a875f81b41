/// The log of the service: lines of the host and its own, each with the name of the request that it is about.
///
/// To a journal (standard error is connected to it) a line goes with the priority in front, as "<6>", and without a
/// time, which the journal has itself.
#pragma once

#include <qv/host.h>

#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>

namespace qvcmsd {

/// Severity, as the host's levels count.
enum class Level { Error = 1, Warning = 2, Notice = 3, Info = 4 };

class Log {
 public:
  /// @param file  lines are appended to it, in place of standard error; empty: to none. Throws `std::runtime_error`
  /// when it cannot be opened.
  Log(int level, std::string file);
  ~Log();
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  /// Opens the file again, after somebody moved it away. Goes on with the old one when that fails.
  void Reopen();
  void Write(Level level, std::string_view text);
  /// Takes the host's lines.
  void Write(const qv::LogLine& line);

  /// While it lives, lines of this thread are about the request `id`.
  class Scope {
   public:
    explicit Scope(std::string_view id);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
  };

 private:
  void Put(std::chrono::system_clock::time_point time, std::string_view level, const std::string& text);

  const int level_;
  const std::string path_;
  const bool is_journal_;
  std::mutex mutex_;
  std::FILE* file_ = nullptr;  ///< null: standard error
};

}  // namespace qvcmsd
