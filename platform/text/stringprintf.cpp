#include "stringprintf.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "text/printf.h"

namespace qv::text {

std::optional<std::string> Printf(const char* format, std::va_list arguments) {
  char* printed = nullptr;
  const int length = vasprintf(&printed, format, arguments);
  if (length < 0) return std::nullopt;
  const std::unique_ptr<char, decltype(&std::free)> owner(printed, &std::free);
  return std::string(printed, static_cast<std::size_t>(length));
}

}  // namespace qv::text

std::string StringPrintf(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const std::optional<std::string> text = qv::text::Printf(format, arguments);
  va_end(arguments);
  return text.value_or("");
}
