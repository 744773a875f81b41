#include "escape.h"

#include <cstddef>

namespace qv::log {
namespace {

unsigned char ByteAt(std::string_view text, std::size_t index) { return static_cast<unsigned char>(text[index]); }

/// Length of the well-formed UTF-8 sequence at `begin`; 0 when there is none.
std::size_t SequenceLength(std::string_view text, std::size_t begin) {
  const unsigned char lead = ByteAt(text, begin);
  std::size_t length = 0;
  // The bounds of the second byte exclude overlong forms, surrogates and what lies beyond U+10FFFF.
  unsigned char lowest = 0x80;
  unsigned char highest = 0xBF;
  if (lead < 0x80) {
    return 1;
  } else if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    lowest = lead == 0xE0 ? 0xA0 : lowest;
    highest = lead == 0xED ? 0x9F : highest;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    lowest = lead == 0xF0 ? 0x90 : lowest;
    highest = lead == 0xF4 ? 0x8F : highest;
  }
  if (length == 0 || text.size() - begin < length) {
    return 0;
  }
  if (ByteAt(text, begin + 1) < lowest || ByteAt(text, begin + 1) > highest) {
    return 0;
  }
  for (std::size_t i = begin + 2; i < begin + length; ++i) {
    if ((ByteAt(text, i) & 0xC0) != 0x80) {
      return 0;
    }
  }
  return length;
}

bool IsControl(std::string_view sequence) {
  const unsigned char lead = ByteAt(sequence, 0);
  if (sequence.size() == 1) {
    return lead < 0x20 || lead == 0x7F;
  }
  if (sequence.size() == 2) {
    return lead == 0xC2 && ByteAt(sequence, 1) < 0xA0;
  }
  return sequence == "\u2028" || sequence == "\u2029";
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
    const std::size_t length = SequenceLength(text, i);
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
