#include "utf8.h"

namespace qv::text {
namespace {

unsigned char ByteAt(std::string_view text, std::size_t index) { return static_cast<unsigned char>(text[index]); }

}  // namespace

std::size_t Utf8SequenceLength(std::string_view text, std::size_t begin) {
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

}  // namespace qv::text
