#include "log.h"

#include <fcntl.h>
#include <qv/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "timestamp.h"

namespace qvcmsd {
namespace {

thread_local std::string_view request_id;

struct LevelName {
  std::string_view name;
  int priority;  ///< for a journal
};

/// Those that the service writes itself stand at the places of their numbers.
constexpr LevelName kLevels[] = {{"FATAL", 2}, {"ERR", 3}, {"WARN", 4}, {"NOTICE", 5}, {"INFO", 6}, {"-", 5}};

int PriorityOf(std::string_view level) {
  const auto* const found =
      std::find_if(std::begin(kLevels), std::end(kLevels), [&](const LevelName& each) { return each.name == level; });
  return found == std::end(kLevels) ? 7 : found->priority;
}

/// Whether standard error is the journal's, which says so by device and inode.
bool IsJournal() {
  const char* const stream = std::getenv("JOURNAL_STREAM");
  struct stat status = {};
  if (stream == nullptr || fstat(STDERR_FILENO, &status) != 0) return false;
  return std::to_string(status.st_dev) + ':' + std::to_string(status.st_ino) == stream;
}

std::FILE* OpenToAppend(const std::string& path) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  return descriptor < 0 ? nullptr : fdopen(descriptor, "a");
}

}  // namespace

Log::Log(int level, std::string file) : level_(level), path_(std::move(file)), is_journal_(IsJournal()) {
  if (path_.empty()) return;
  file_ = OpenToAppend(path_);
  if (file_ == nullptr) throw std::runtime_error("cannot open the log file " + path_ + ": " + std::strerror(errno));
}

Log::~Log() {
  if (file_ != nullptr) static_cast<void>(std::fclose(file_));
}

void Log::Reopen() {
  if (path_.empty()) return;
  std::FILE* const file = OpenToAppend(path_);
  if (file == nullptr) {
    Write(Level::Error, "cannot open the log file again: " + std::string(std::strerror(errno)));
    return;
  }
  const std::lock_guard lock(mutex_);
  static_cast<void>(std::fclose(file_));
  file_ = file;
}

void Log::Write(Level level, std::string_view text) {
  if (static_cast<int>(level) > level_) return;
  // Quoted as JSON does it: what came from a client cannot end the line or steer a terminal.
  std::string line = qv::ToJson(Json::Value(std::string(text)));
  line = line.substr(1, line.size() - 2);
  const std::string_view name = kLevels[static_cast<std::size_t>(level)].name;
  Put(std::chrono::system_clock::now(), name, std::string(name) + " qvcmsd " + line);
}

void Log::Write(const qv::LogLine& line) {
  Put(line.time, line.level,
      line.level + ' ' + line.category + ' ' + line.file + ':' + std::to_string(line.line) + ' ' + line.function + ' ' +
          line.text);
}

void Log::Put(std::chrono::system_clock::time_point time, std::string_view level, const std::string& text) {
  std::string line =
      is_journal_ && path_.empty() ? '<' + std::to_string(PriorityOf(level)) + '>' : qv::Timestamp(time) + ' ';
  line += text;
  if (!request_id.empty()) line.append(" request=").append(request_id);
  line += '\n';
  const std::lock_guard lock(mutex_);
  std::FILE* const file = file_ == nullptr ? stderr : file_;
  static_cast<void>(std::fwrite(line.data(), 1, line.size(), file));  // there is nowhere else to say it
  static_cast<void>(std::fflush(file));
}

Log::Scope::Scope(std::string_view id) { request_id = id; }

Log::Scope::~Scope() { request_id = {}; }

}  // namespace qvcmsd
