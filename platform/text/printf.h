/// Text from a printf format and a list of arguments (see include/stringprintf.h for the variadic function).
#pragma once

#include <cstdarg>
#include <optional>
#include <string>

namespace qv::text {

/// The text that `vprintf` would print; none if it cannot: an invalid format, or no memory.
std::optional<std::string> Printf(const char* format, std::va_list arguments) __attribute__((format(printf, 1, 0)));

}  // namespace qv::text
