/// Text that is safe to show: nothing in it ends a line, steers a terminal or turns the direction of the text after it.
///
/// What is escaped: control characters (U+0000 to U+001F, U+007F to U+009F), the separators of lines and paragraphs
/// (U+2028, U+2029), the characters that change the direction of text (U+061C, U+202A to U+202E, U+2066 to U+2069), and
/// bytes that are not valid UTF-8. Everything else is kept.
#pragma once

#include <string>
#include <string_view>

namespace qv::text {

/// For a line of a log or a table: \n, \r, \t, else \xNN for each byte.
std::string EscapeLine(std::string_view text);

/// For a JSON text, whose meaning stays the same: \uXXXX for each character. Its line breaks are kept. A byte that is
/// not valid UTF-8 becomes \uFFFD.
std::string EscapeJson(std::string_view json);

}  // namespace qv::text
