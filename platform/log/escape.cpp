#include "escape.h"

#include <cstddef>

#include "text/utf8.h"

namespace qv::log {
namespace {

unsigned char ByteAt(std::string_view text, std::size_t index) { return static_cast<unsigned char>(text[index]); }

bool IsControl(std::string_view sequence) {
  const unsigned char lead = ByteAt(sequence, 0);
  if (sequence.size() == 1) {
    return lead < 0x20 || lead == 0x7F;
  }
  if (sequence.size() == 2) {
    return lead == 0xC2 && ByteAt(sequence, 1) < 0xA0;
  }
  // Separators of lines and paragraphs, embeddings and overrides of the direction; isolates.
  return (sequence >= "\u2028" && sequence <= "\u202E") || (sequence >= "\u2066" && sequence <= "\u2069");
}

void AppendEscaped(std::string& out, char byte) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  switch (byte) {
    case '\n':
      out += "\\n";
      return;
    case '\r':
      out += "\\r";
      return;
    case '\t':
      out += "\\t";
      return;
    default:
      const auto value = static_cast<unsigned char>(byte);
      out += "\\x";
      out += kHex[value >> 4];
      out += kHex[value & 0x0F];
  }
}

}  // namespace

std::string EscapeLine(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = text::Utf8SequenceLength(text, i);
    const std::string_view sequence = text.substr(i, length == 0 ? 1 : length);
    if (length == 0 || IsControl(sequence)) {
      for (const char byte : sequence) {
        AppendEscaped(out, byte);
      }
    } else {
      out += sequence;
    }
    i += sequence.size();
  }
  return out;
}

}  // namespace qv::log
