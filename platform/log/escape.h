/// Text that stays on its line.
#pragma once

#include <string>
#include <string_view>

namespace qv::log {

/// `text` without anything that could end a line, steer a terminal or turn the direction of what follows: control
/// characters (C0, DEL, C1, the line and paragraph separators, U+202A to U+202E, U+2066 to U+2069) and bytes that are
/// not valid UTF-8 become \n, \r, \t or \xNN per byte; the rest is kept.
std::string EscapeLine(std::string_view text);

}  // namespace qv::log
