/// Times as texts.
#pragma once

#include <array>
#include <chrono>
#include <ctime>
#include <string>

namespace qv {

/// In UTC, such as "2030-01-31T12:00:00.250Z".
inline std::string Timestamp(std::chrono::system_clock::time_point time) {
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
  const std::time_t seconds = milliseconds / 1000;
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 32> text{};
  const std::size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  const std::string fraction = std::to_string(1000 + milliseconds % 1000).substr(1);
  return std::string(text.data(), size) + '.' + fraction + 'Z';
}

}  // namespace qv
