#include "stringprintf.h"

#include <cstdarg>
#include <cstdio>

std::string StringPrintf(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  std::string text;
  if (length > 0) {
    text.resize(static_cast<std::size_t>(length));
    // The byte behind a string's end may be set to 0.
    static_cast<void>(std::vsnprintf(text.data(), text.size() + 1, format, again));
  }
  va_end(again);
  return text;
}
