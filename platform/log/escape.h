/// Text that stays on its line.
#pragma once

#include <string>
#include <string_view>

namespace qv::log {

/// `text` without anything that could end a line or steer a terminal: control characters (C0, DEL, C1, the line and
/// paragraph separators) and bytes that are not valid UTF-8 become \n, \r, \t or \xNN per byte; the rest is kept.
std::string EscapeLine(std::string_view text);

}  // namespace qv::log
