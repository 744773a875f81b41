/// Times as texts.
#pragma once

#include <chrono>
#include <string>

namespace qvcmsd {

/// In UTC, such as "2030-01-31T12:00:00.250Z".
std::string Timestamp(std::chrono::system_clock::time_point time);

}  // namespace qvcmsd
