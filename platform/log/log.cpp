#include "log.h"

#include <fcntl.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "../text/escape.h"
#include "configuration.h"
#include "dbglog.h"

namespace qv::log {
namespace {

/// Set when a line of this thread could not be written.
thread_local bool write_failed = false;

void ReportOnStderr(const std::string& problem) {
  static_cast<void>(std::fprintf(stderr, "log: %s\n", text::EscapeLine(problem).c_str()));  // the last resort
}

/// The file to append to, made readable for its owner alone before anything is in it.
/// @throws std::runtime_error when it cannot be opened
spdlog::sink_ptr OpenFile(const std::string& path) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (descriptor < 0) {
    throw std::runtime_error("cannot open the log file " + path + ": " + std::strerror(errno));
  }
  close(descriptor);
  try {
    return std::make_shared<spdlog::sinks::basic_file_sink_mt>(path);
  } catch (const spdlog::spdlog_ex& error) {
    throw std::runtime_error(error.what());
  }
}

std::shared_ptr<spdlog::logger> MakeWriter(const std::string& file, bool to_stderr) {
  std::vector<spdlog::sink_ptr> sinks;
  if (!file.empty()) {
    sinks.push_back(OpenFile(file));
  }
  if (to_stderr) {
    sinks.push_back(std::make_shared<spdlog::sinks::stderr_sink_mt>());
  }
  auto writer = std::make_shared<spdlog::logger>("qv", sinks.begin(), sinks.end());
  writer->set_pattern("%Y-%m-%dT%H:%M:%S.%eZ %v", spdlog::pattern_time_type::utc);
  writer->set_level(spdlog::level::trace);
  writer->flush_on(spdlog::level::warn);
  // A full disk fails every line; it is said once.
  writer->set_error_handler([reported = std::make_shared<std::atomic<bool>>(false)](const std::string& problem) {
    write_failed = true;
    if (!reported->exchange(true)) {
      ReportOnStderr(problem);
    }
  });
  return writer;
}

struct Output {
  std::mutex mutex;
  std::shared_ptr<spdlog::logger> writer = MakeWriter("", true);
  Sink sink;
};

/// Never destroyed: messages may still be logged while the process exits.
Output& TheOutput() {
  static Output* const output = std::make_unique<Output>().release();
  return *output;
}

std::optional<LOG_LEVEL> LevelNamed(std::string_view level_name) {
  static const QVEnum2StrMap<LOG_LEVEL> names;
  for (const auto& [level, name] : names) {
    if (level_name == name) {
      return level;
    }
  }
  return std::nullopt;
}

/// Lines that must be on disk when the process dies next: levels 0 to 3, and messages without a known level.
bool IsUrgent(std::string_view level_name) {
  return LevelNamed(level_name).value_or(LOG_LEVEL_FATAL) <= LOG_LEVEL_NOTICE;
}

/// The platform hands over whatever happens to it. Those who log in other categories have asked the configuration.
bool IsUnwanted(const char* category, const char* level) {
  static const QVEnum2StrMap<LOG_CATEG> names;
  if (category == nullptr || level == nullptr || std::string_view(category) != names.at(LOG_CATEG_DATABASE)) {
    return false;
  }
  return !IsWanted(LOG_CATEG_DATABASE, LevelNamed(level).value_or(LOG_LEVEL_FATAL));
}

std::string OrDash(const char* name) { return name == nullptr ? "-" : text::EscapeLine(name); }

/// The text that printf would write. @return none when printf cannot write it
std::optional<std::string> FormatText(const char* format, std::va_list args) __attribute__((format(printf, 1, 0)));
std::optional<std::string> FormatText(const char* format, std::va_list args) {
  std::string text(256, '\0');
  std::va_list first_try;
  va_copy(first_try, args);
  const int length = std::vsnprintf(text.data(), text.size(), format, first_try);
  va_end(first_try);
  if (length < 0) {
    return std::nullopt;
  }
  const auto size = static_cast<std::size_t>(length);
  if (size >= text.size()) {
    text.resize(size + 1);
    static_cast<void>(std::vsnprintf(text.data(), text.size(), format, args));  // as the first time: it cannot fail
  }
  text.resize(size);
  return text;
}

int Write(const Line& line) {
  Output& output = TheOutput();
  std::string written = line.level + ' ' + line.category + ' ' + line.file + ':' + std::to_string(line.line) + ' ' +
                        line.function + ' ' + line.text;
  std::unique_lock lock(output.mutex);
  if (output.sink) {
    output.sink(line);
  } else {
    const std::shared_ptr<spdlog::logger> writer = output.writer;
    lock.unlock();
    write_failed = false;
    writer->log(line.time, spdlog::source_loc{}, IsUrgent(line.level) ? spdlog::level::warn : spdlog::level::info,
                written);
    if (write_failed) {
      return -1;
    }
  }
  return static_cast<int>(written.size());
}

void SetWriter(std::shared_ptr<spdlog::logger> writer) {
  Output& output = TheOutput();
  const std::lock_guard lock(output.mutex);
  output.writer.swap(writer);
}

}  // namespace

void Configure(const Settings& settings) {
  std::shared_ptr<spdlog::logger> writer = MakeWriter(settings.file, settings.to_stderr);
  SetThresholds(Thresholds{.level = settings.level, .pids = settings.pids});
  SetWriter(std::move(writer));
}

void SetSink(Sink sink) {
  Output& output = TheOutput();
  const std::lock_guard lock(output.mutex);
  output.sink.swap(sink);
}

void Reset() {
  SetThresholds(std::nullopt);
  SetSink({});
  SetWriter(MakeWriter("", true));
}

}  // namespace qv::log

int QVVPrintf(LOG_TYPE type, const char* categName, const char* levelName, const char* file, int line, const char* func,
              const char* fmt, std::va_list args) {
  if (type != LOG_TYPE_DIAGNOSTIC) {
    return -1;
  }
  try {
    if (qv::log::IsUnwanted(categName, levelName)) {
      return 0;
    }
    std::optional<std::string> text = qv::log::FormatText(fmt, args);
    if (!text) {
      return -1;
    }
    if (text->ends_with('\n')) {
      text->pop_back();
    }
    return qv::log::Write({.time = std::chrono::system_clock::now(),
                           .level = qv::log::OrDash(levelName),
                           .category = qv::log::OrDash(categName),
                           .file = qv::log::OrDash(file),
                           .line = line,
                           .function = qv::log::OrDash(func),
                           .text = qv::text::EscapeLine(*text)});
  } catch (const std::exception&) {
    // Whoever logs goes on whatever becomes of the message.
    return -1;
  }
}
