#include "log/logfile.h"

#include <fcntl.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace qv::log {
namespace {

/// Creates the file if it is missing. Returns false, with `errno` set, if it cannot be written.
bool CreateForOwner(const std::string& path) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (descriptor >= 0) close(descriptor);
  return descriptor >= 0;
}

}  // namespace

spdlog::sink_ptr OpenLogFile(const std::string& path, std::size_t max_bytes, std::size_t kept_files) {
  if (!CreateForOwner(path)) throw std::runtime_error("cannot open the log file " + path + ": " + std::strerror(errno));
  // A link or a device, such as /dev/stderr, must not be renamed.
  const bool is_file = std::filesystem::is_regular_file(std::filesystem::symlink_status(path));
  try {
    if (max_bytes == 0 || !is_file) return std::make_shared<spdlog::sinks::basic_file_sink_mt>(path);
    spdlog::file_event_handlers handlers;
    handlers.before_open = [](const std::string& next) { static_cast<void>(CreateForOwner(next)); };
    return std::make_shared<spdlog::sinks::rotating_file_sink_mt>(path, max_bytes, kept_files, false, handlers);
  } catch (const spdlog::spdlog_ex& error) {
    throw std::runtime_error(error.what());
  }
}

}  // namespace qv::log
