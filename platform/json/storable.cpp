#include "json/storable.h"

#include <simdjson.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "json/document.h"
#include "json/views.h"

namespace qv::json {
namespace {

constexpr const char* kBadName = "the name of a member is not UTF-8";

/// Whether every byte is an ASCII character other than NUL. Eight bytes at a time, since every text that is written to
/// the database is looked at.
bool IsAsciiWithoutNul(std::string_view text) {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  for (; text.size() >= sizeof(std::uint64_t); text.remove_prefix(sizeof(std::uint64_t))) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, text.data(), sizeof bytes);
    if (((bytes | (bytes - kOnes)) & kHighBits) != 0) return false;
  }
  return std::all_of(text.begin(), text.end(), [](char byte) { return byte > 0; });
}

bool IsUtf8(std::string_view text) {
  return IsAsciiWithoutNul(text) || simdjson::validate_utf8(text.data(), text.size());
}

const char* Check(const Json::Value& value, std::size_t levels_left) {
  switch (value.type()) {
    case Json::realValue:
      return std::isfinite(value.asDouble()) ? nullptr : "a number is infinite or not a number";
    case Json::stringValue:
      return IsUtf8(TextOf(value)) ? nullptr : "a text is not UTF-8";
    case Json::arrayValue:
    case Json::objectValue:
      break;
    default:
      return nullptr;
  }
  static_assert(kMaxDepth == 1000);
  if (levels_left == 0) return "it is nested deeper than 1000 levels";
  const auto end = value.end();
  for (auto child = value.begin(); child != end; ++child) {
    if (value.isObject() && !IsUtf8(NameOf(child))) return kBadName;
    if (const char* const reason = Check(*child, levels_left - 1)) return reason;
  }
  return nullptr;
}

}  // namespace

const char* WhyNotStorable(const Json::Value& value) { return Check(value, kMaxDepth); }

const char* WhyNotStorable(const Json::Value& value, std::string_view written) {
  // A number that is none is written as null, and each level takes a byte.
  const bool is_plain =
      written.size() <= kMaxDepth && written.find("null") == std::string_view::npos && IsUtf8(written);
  return is_plain ? nullptr : WhyNotStorable(value);
}

const char* WhyMemberNotStorable(std::string_view name, const Json::Value& value) {
  return IsUtf8(name) ? Check(value, kMaxDepth - 1) : kBadName;
}

const char* WhyNotStorableText(std::string_view text) {
  if (IsAsciiWithoutNul(text)) return nullptr;
  if (!IsUtf8(text)) return "it is not UTF-8";
  return text.find('\0') == std::string_view::npos ? nullptr : "it contains a NUL";
}

}  // namespace qv::json
