#include "json/storable.h"

#include <simdjson.h>

#include <cmath>

#include "json/document.h"
#include "json/views.h"

namespace qv::json {
namespace {

constexpr const char* kBadName = "the name of a member is not UTF-8";

bool IsUtf8(std::string_view text) { return simdjson::validate_utf8(text.data(), text.size()); }

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

const char* WhyNotStorable(std::string_view name, const Json::Value& value) {
  return IsUtf8(name) ? Check(value, kMaxDepth - 1) : kBadName;
}

const char* WhyNotStorableText(std::string_view text) {
  if (!IsUtf8(text)) return "it is not UTF-8";
  return text.find('\0') == std::string_view::npos ? nullptr : "it contains a NUL";
}

}  // namespace qv::json
