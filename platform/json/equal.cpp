#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include "qvjson.h"

namespace {

/// The integer types of jsoncpp and double; bool is not among them.
bool IsNumber(const Json::Value& value) {
  return value.type() == Json::intValue || value.type() == Json::uintValue || value.type() == Json::realValue;
}

bool IsInteger(const Json::Value& value) { return IsNumber(value) && value.type() != Json::realValue; }

bool EqualIntegers(const Json::Value& left, const Json::Value& right) {
  if (left.type() == Json::intValue && right.type() == Json::intValue) {
    return left.asLargestInt() == right.asLargestInt();
  }
  const auto is_negative = [](const Json::Value& value) {
    return value.type() == Json::intValue && value.asLargestInt() < 0;
  };
  return !is_negative(left) && !is_negative(right) && left.asLargestUInt() == right.asLargestUInt();
}

/// Exact: no integer is rounded to a double on the way.
bool EqualIntegerAndDouble(const Json::Value& integer, double number) {
  if (std::trunc(number) != number) {
    return false;
  }
  // 2 to the power of 63 and 64, which the largest integers are one short of.
  static constexpr double kPastInt = 9223372036854775808.0;
  static constexpr double kPastUInt = 18446744073709551616.0;
  if (number >= -kPastInt && number < kPastInt) {
    return EqualIntegers(integer, static_cast<Json::LargestInt>(number));
  }
  return number >= kPastInt && number < kPastUInt && EqualIntegers(integer, static_cast<Json::LargestUInt>(number));
}

/// Whether `stored` is what a float column gives back of `sent`.
bool IsKeptAsFloat(double sent, double stored) {
  return std::abs(sent) <= static_cast<double>(std::numeric_limits<float>::max()) &&
         static_cast<double>(static_cast<float>(sent)) == stored;
}

bool EqualNumbers(const Json::Value& left, const Json::Value& right) {
  if (IsInteger(left) && IsInteger(right)) {
    return EqualIntegers(left, right);
  }
  if (IsInteger(left)) {
    return EqualIntegerAndDouble(left, right.asDouble());
  }
  if (IsInteger(right)) {
    return EqualIntegerAndDouble(right, left.asDouble());
  }
  const double a = left.asDouble();
  const double b = right.asDouble();
  return a == b || IsKeptAsFloat(a, b) || IsKeptAsFloat(b, a);
}

std::string_view TextOf(const Json::Value& value) {
  const char* begin = nullptr;
  const char* end = nullptr;
  value.getString(&begin, &end);
  return {begin, end};
}

template <class Number>
std::optional<Json::Value> Parse(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return Json::Value(number);
}

/// The number that a text column holds as `text`; none for a text that no number is written as, such as "007".
std::optional<Json::Value> ParseNumber(std::string_view text) {
  const auto is_digit = [](char letter) { return letter >= '0' && letter <= '9'; };
  const std::string_view digits = text.substr(text.starts_with('-') ? 1 : 0);
  if (digits.empty() || !is_digit(digits.front()) || !is_digit(digits.back()) ||
      (digits.size() > 1 && digits[0] == '0' && is_digit(digits[1]))) {
    return std::nullopt;
  }
  if (auto number = Parse<Json::LargestInt>(text)) {
    return number;
  }
  if (auto number = Parse<Json::LargestUInt>(text)) {
    return number;
  }
  return Parse<double>(text);
}

bool EqualNumberAndText(const Json::Value& number, const Json::Value& text) {
  const std::optional<Json::Value> parsed = ParseNumber(TextOf(text));
  return parsed && EqualNumbers(number, *parsed);
}

bool EqualBoolAndNumber(const Json::Value& flag, const Json::Value& number) {
  return flag.asBool() == (number.asDouble() != 0.0);
}

bool EqualArrays(const Json::Value& left, const Json::Value& right) {
  if (left.size() != right.size()) {
    return false;
  }
  // By index: an array may have gaps, which read as null.
  for (Json::ArrayIndex i = 0; i < left.size(); ++i) {
    if (!QVJson::CheckEqual(left[i], right[i])) {
      return false;
    }
  }
  return true;
}

/// Whether each member of `left` equals the member of `right`, where an absent one is null.
bool HasEqualMembers(const Json::Value& left, const Json::Value& right) {
  for (auto member = left.begin(); member != left.end(); ++member) {
    const char* name_end = nullptr;
    const char* const name = member.memberName(&name_end);
    const Json::Value* const other = right.find(name, name_end);
    if (other == nullptr ? !member->isNull() : !QVJson::CheckEqual(*member, *other)) {
      return false;
    }
  }
  return true;
}

/// Whether every member that only `left` has is null.
bool HasNoMoreThan(const Json::Value& left, const Json::Value& right) {
  for (auto member = left.begin(); member != left.end(); ++member) {
    const char* name_end = nullptr;
    const char* const name = member.memberName(&name_end);
    if (!member->isNull() && right.find(name, name_end) == nullptr) {
      return false;
    }
  }
  return true;
}

/// The rules that are stated for one order of the two types.
bool EqualAcrossTypes(const Json::Value& left, const Json::Value& right) {
  return (left.isBool() && IsNumber(right) && EqualBoolAndNumber(left, right)) ||
         (IsNumber(left) && right.isString() && EqualNumberAndText(left, right));
}

}  // namespace

bool QVJson::CheckEqual(const Json::Value& left, const Json::Value& right) {
  if (IsNumber(left) && IsNumber(right)) {
    return EqualNumbers(left, right);
  }
  if (left.type() != right.type()) {
    return EqualAcrossTypes(left, right) || EqualAcrossTypes(right, left);
  }
  switch (left.type()) {
    case Json::booleanValue:
      return left.asBool() == right.asBool();
    case Json::stringValue:
      return TextOf(left) == TextOf(right);
    case Json::arrayValue:
      return EqualArrays(left, right);
    case Json::objectValue:
      return HasEqualMembers(left, right) && HasNoMoreThan(right, left);
    default:
      return true;  // both null
  }
}
