#include "log/log.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>

#include "dbglog.h"
#include "log/configuration.h"
#include "log/heldlines.h"
#include "log/logfile.h"
#include "text/escape.h"
#include "text/printf.h"

namespace qv::log {
namespace {

/// Whether the last line of this thread could not be written.
thread_local bool write_failed = false;

std::shared_ptr<spdlog::logger> MakeWriter(const Settings& settings) {
  std::vector<spdlog::sink_ptr> sinks;
  if (!settings.file.empty()) {
    sinks.push_back(OpenLogFile(settings.file, settings.max_file_bytes, settings.kept_files));
  }
  if (settings.to_stderr) sinks.push_back(std::make_shared<spdlog::sinks::stderr_sink_mt>());
  auto writer = std::make_shared<spdlog::logger>("qv", sinks.begin(), sinks.end());
  writer->set_pattern("%Y-%m-%dT%H:%M:%S.%eZ %v", spdlog::pattern_time_type::utc);
  writer->flush_on(spdlog::level::warn);
  // A full disk refuses every line: one report is enough.
  writer->set_error_handler([reported = std::make_shared<std::atomic<bool>>(false)](const std::string& problem) {
    write_failed = true;
    if (reported->exchange(true)) return;
    static_cast<void>(std::fprintf(stderr, "log: %s\n", text::EscapeLine(problem).c_str()));
  });
  return writer;
}

struct Output {
  std::mutex mutex;
  std::shared_ptr<spdlog::logger> writer = MakeWriter({});
  Sink sink;
};

/// Never destroyed: messages may still be logged while the process exits.
Output& TheOutput() {
  static Output* const output = new Output();
  return *output;
}

/// Whether a line must reach the file at once, in case the process dies: levels 0 to 3, and lines without a known
/// level.
bool IsUrgent(std::string_view level_name) {
  static const auto& levels = *new QVEnum2StrMap<LOG_LEVEL>();
  return std::none_of(levels.upper_bound(LOG_LEVEL_NOTICE), levels.end(),
                      [&](const auto& level) { return level_name == level.second; });
}

std::string OrDash(const char* name) { return name == nullptr ? "-" : text::EscapeLine(name); }

std::string TextOf(const Line& line) {
  return line.level + ' ' + line.category + ' ' + line.file + ':' + std::to_string(line.line) + ' ' + line.function +
         ' ' + line.text;
}

void SetWriter(std::shared_ptr<spdlog::logger> writer) {
  Output& output = TheOutput();
  const std::lock_guard lock(output.mutex);
  output.writer.swap(writer);
}

}  // namespace

int Write(const Line& line) {
  const std::string written = TextOf(line);
  if (HeldLines::Take(line)) return static_cast<int>(written.size());
  Output& output = TheOutput();
  std::unique_lock lock(output.mutex);
  if (output.sink) {
    output.sink(line);
  } else {
    const std::shared_ptr<spdlog::logger> writer = output.writer;
    lock.unlock();
    write_failed = false;
    writer->log(line.time, spdlog::source_loc{}, IsUrgent(line.level) ? spdlog::level::warn : spdlog::level::info,
                written);
    if (write_failed) return -1;
  }
  return static_cast<int>(written.size());
}

void Configure(const Settings& settings) {
  std::shared_ptr<spdlog::logger> writer = MakeWriter(settings);
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
  SetWriter(MakeWriter({}));
}

}  // namespace qv::log

int QVVPrintf(LOG_TYPE type, const char* categName, const char* levelName, const char* file, int line, const char* func,
              const char* fmt, std::va_list args) {
  if (type != LOG_TYPE_DIAGNOSTIC) return -1;
  try {
    std::optional<std::string> text = qv::text::Printf(fmt, args);
    if (!text) return -1;
    if (text->ends_with('\n')) text->pop_back();
    return qv::log::Write({.time = std::chrono::system_clock::now(),
                           .level = qv::log::OrDash(levelName),
                           .category = qv::log::OrDash(categName),
                           .file = qv::log::OrDash(file),
                           .line = line,
                           .function = qv::log::OrDash(func),
                           .text = qv::text::EscapeLine(*text)});
  } catch (const std::exception&) {
    return -1;  // the caller goes on without its message
  }
}
