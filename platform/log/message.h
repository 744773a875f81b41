/// Messages of the platform itself, in category DATABASE. A message stands whole at its call; the line in the log names
/// the file, line and function of that call.
#pragma once

#include <fmt/format.h>

#include <string>
#include <type_traits>

#include "dbglog.h"

namespace qv::log {

/// A place in the source. `Here()` as a default argument is the place of the call that uses the default.
struct Place {
  const char* file;
  int line;
  const char* function;

  static constexpr Place Here(const char* file = __builtin_FILE(), int line = __builtin_LINE(),
                              const char* function = __builtin_FUNCTION()) {
    return {.file = file, .line = line, .function = function};
  }
};

/// The text of a message, with "{}" for each argument, and the place where it stands. Parameters of this type take a
/// string literal.
template <class... Args>
class Text {
 public:
  // NOLINTNEXTLINE(google-explicit-constructor): a literal is all that a caller writes
  FMT_CONSTEVAL Text(const char* text, Place place = Place::Here()) : format_(text), place_(place) {}

  std::string With(const Args&... args) const { return fmt::vformat(format_, fmt::make_format_args(args...)); }
  const Place& place() const { return place_; }

 private:
  fmt::format_string<Args...> format_;
  Place place_;
};

/// Writes a message if the configuration of the log wants its level. Thread-safe.
void WriteMessage(LOG_LEVEL level, const Place& place, const std::string& text);

/// Writes a message of level `LOG_LEVEL_ERR`. Thread-safe.
template <class... Args>
void Error(Text<std::type_identity_t<Args>...> text, const Args&... args) {
  WriteMessage(LOG_LEVEL_ERR, text.place(), text.With(args...));
}

/// Writes a message of level `LOG_LEVEL_WARN`. Thread-safe.
template <class... Args>
void Warn(Text<std::type_identity_t<Args>...> text, const Args&... args) {
  WriteMessage(LOG_LEVEL_WARN, text.place(), text.With(args...));
}

}  // namespace qv::log
