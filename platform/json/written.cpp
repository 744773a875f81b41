#include "json/written.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "json/views.h"
#include "qvjson.h"

namespace qv::json {
namespace {

bool IsInteger(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c == '-' || (c >= '0' && c <= '9'); });
}

/// Walks along the text while it is what the value's parts are written as.
class Comparison {
 public:
  explicit Comparison(std::string_view text) : rest_(text) {}

  Written Run(const Json::Value& value) {
    const Written found = Compare(value);
    return found == Written::Same && !rest_.empty() ? Written::Unclear : found;
  }

 private:
  Written Compare(const Json::Value& value) {
    switch (value.type()) {
      case Json::stringValue:
        return CompareText(TextOf(value));
      case Json::arrayValue:
        return CompareArray(value);
      case Json::objectValue:
        return CompareObject(value);
      case Json::intValue:
        return CompareInteger(value.asInt64());
      case Json::uintValue:
        return CompareInteger(value.asUInt64());
      case Json::realValue:
        return CompareNumber(JsonWrite(value, true));
      default:
        return CompareMark(value.isNull() ? "null" : value.asBool() ? "true" : "false");
    }
  }

  Written CompareMark(std::string_view mark) {
    if (!rest_.starts_with(mark)) return Written::Unclear;
    rest_.remove_prefix(mark.size());
    return Written::Same;
  }

  template <class Integer>
  Written CompareInteger(Integer number) {
    std::array<char, 24> digits;
    const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    return CompareNumber({digits.data(), end});
  }

  /// An integer is written in one way only; a number with a fraction may be written as its float or as an integer.
  Written CompareNumber(std::string_view number) {
    const std::string_view held = rest_.substr(0, rest_.find_first_of(",]}"));
    if (held == number) {
      rest_.remove_prefix(held.size());
      return Written::Same;
    }
    return IsInteger(held) && IsInteger(number) ? Written::Differs : Written::Unclear;
  }

  /// A text without escapes is written in one way only.
  Written CompareText(std::string_view text) {
    const std::size_t end = rest_.starts_with('"') ? rest_.find('"', 1) : std::string_view::npos;
    if (end == std::string_view::npos) return Written::Unclear;
    const std::string_view held = rest_.substr(1, end - 1);
    if (held.find('\\') != std::string_view::npos) return Written::Unclear;
    if (held != text) return Written::Differs;
    rest_.remove_prefix(held.size() + 2);
    return Written::Same;
  }

  Written CompareArray(const Json::Value& array) {
    Json::ArrayIndex next = 0;
    const auto last = array.end();
    for (auto element = array.begin(); element != last; ++element, ++next) {
      if (element.index() != next) return Written::Unclear;  // a gap, which reads as null
      if (CompareMark(next == 0 ? "[" : ",") != Written::Same) return Written::Unclear;
      if (const Written found = Compare(*element); found != Written::Same) return found;
    }
    return CompareMark(next == 0 ? "[]" : "]");
  }

  /// Other members may mean the same: one that is absent equals one that is null.
  Written CompareObject(const Json::Value& object) {
    const char* before = "{";
    const auto last = object.end();
    for (auto member = object.begin(); member != last; ++member) {
      if (CompareMark(before) != Written::Same || CompareText(NameOf(member)) != Written::Same ||
          CompareMark(":") != Written::Same) {
        return Written::Unclear;
      }
      if (const Written found = Compare(*member); found != Written::Same) return found;
      before = ",";
    }
    return CompareMark(object.empty() ? "{}" : "}");
  }

  std::string_view rest_;
};

}  // namespace

Written CompareWritten(const Json::Value& value, std::string_view text) { return Comparison(text).Run(value); }

}  // namespace qv::json
