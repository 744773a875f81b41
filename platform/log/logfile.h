/// The file that the log is appended to.
#pragma once

#include <spdlog/sinks/sink.h>

#include <cstddef>
#include <string>

namespace qv::log {

/// A sink that appends to the file `path`. A file that it creates can be read by its owner alone. A regular file is
/// rotated before it grows beyond `max_bytes` (0: never): `a.log` becomes `a.1.log`, `a.1.log` becomes `a.2.log`, and
/// so on; `kept_files` of them are kept.
/// @throws std::runtime_error if the file cannot be opened
spdlog::sink_ptr OpenLogFile(const std::string& path, std::size_t max_bytes, std::size_t kept_files);

}  // namespace qv::log
