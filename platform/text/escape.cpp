#include "text/escape.h"

#include <fmt/format.h>
#include <utf8.h>

#include <cstdint>
#include <iterator>

namespace qv::text {
namespace {

constexpr char32_t kInvalid = U'\uFFFD';

bool IsUnsafe(char32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x061C ||
         (character >= 0x2028 && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
}

/// Copies `text`; calls `escape(out, character, bytes)` for each character that is unsafe, and for each byte that is
/// part of no character.
template <class Escape>
std::string Escaped(std::string_view text, Escape&& escape) {
  std::string out;
  out.reserve(text.size());
  for (auto next = text.begin(); next != text.end();) {
    for (const auto valid_end = utf8::find_invalid(next, text.end()); next != valid_end;) {
      const auto begin = next;
      const char32_t character = utf8::unchecked::next(next);
      if (IsUnsafe(character)) {
        escape(out, character, std::string_view(begin, next));
      } else {
        out.append(begin, next);
      }
    }
    if (next != text.end()) {
      escape(out, kInvalid, std::string_view(next, next + 1));
      ++next;
    }
  }
  return out;
}

}  // namespace

std::string EscapeLine(std::string_view text) {
  return Escaped(text, [](std::string& out, char32_t character, std::string_view bytes) {
    switch (character) {
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        for (const char byte : bytes) {
          fmt::format_to(std::back_inserter(out), "\\x{:02X}", static_cast<unsigned char>(byte));
        }
    }
  });
}

std::string EscapeJson(std::string_view json) {
  return Escaped(json, [](std::string& out, char32_t character, std::string_view /*bytes*/) {
    if (character == '\n') {
      out += '\n';
    } else {
      fmt::format_to(std::back_inserter(out), "\\u{:04X}", static_cast<std::uint32_t>(character));
    }
  });
}

}  // namespace qv::text
