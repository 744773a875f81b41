/// Text from a printf format.
#pragma once

#include <string>

/// The text that `printf` would print.
std::string StringPrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));
