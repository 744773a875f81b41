#include "equal.h"

#include <cmath>
#include <limits>
#include <string_view>

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

/// By value.
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
  return left.asDouble() == right.asDouble();
}

bool EqualNumbersOrFloats(const Json::Value& left, const Json::Value& right) {
  if (EqualNumbers(left, right)) {
    return true;
  }
  if (IsInteger(left) || IsInteger(right)) {
    return false;
  }
  return IsKeptAsFloat(left.asDouble(), right.asDouble()) || IsKeptAsFloat(right.asDouble(), left.asDouble());
}

bool EqualBoolAndNumber(const Json::Value& flag, const Json::Value& number) {
  return number.asDouble() == (flag.asBool() ? 1.0 : 0.0);
}

std::string_view TextOf(const Json::Value& value) {
  const char* begin = nullptr;
  const char* end = nullptr;
  value.getString(&begin, &end);
  return {begin, end};
}

template <class Equal>
bool EqualArrays(const Json::Value& left, const Json::Value& right, Equal equal) {
  if (left.size() != right.size()) {
    return false;
  }
  // By index: an array may have gaps, which read as null.
  for (Json::ArrayIndex i = 0; i < left.size(); ++i) {
    if (!equal(left[i], right[i])) {
      return false;
    }
  }
  return true;
}

/// Whether each member of `left` equals the member of `right`, where an absent one is null.
template <class Equal>
bool HasEqualMembers(const Json::Value& left, const Json::Value& right, Equal equal) {
  for (auto member = left.begin(); member != left.end(); ++member) {
    const char* name_end = nullptr;
    const char* const name = member.memberName(&name_end);
    const Json::Value* const other = right.find(name, name_end);
    if (other == nullptr ? !member->isNull() : !equal(*member, *other)) {
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

template <class Equal>
bool EqualObjects(const Json::Value& left, const Json::Value& right, Equal equal) {
  return HasEqualMembers(left, right, equal) && HasNoMoreThan(right, left);
}

/// Two values of which one is what a typed column keeps and the other what was sent for it.
bool EqualInColumn(const Json::Value& left, const Json::Value& right) {
  if (left.isBool() && IsNumber(right)) {
    return EqualBoolAndNumber(left, right);
  }
  if (IsNumber(left) && right.isBool()) {
    return EqualBoolAndNumber(right, left);
  }
  return IsNumber(left) && IsNumber(right) ? EqualNumbersOrFloats(left, right) : qv::json::AreSame(left, right);
}

}  // namespace

bool qv::json::AreSame(const Json::Value& left, const Json::Value& right) {
  if (IsNumber(left) && IsNumber(right)) {
    return EqualNumbers(left, right);
  }
  if (left.type() != right.type()) {
    return false;
  }
  switch (left.type()) {
    case Json::booleanValue:
      return left.asBool() == right.asBool();
    case Json::stringValue:
      return TextOf(left) == TextOf(right);
    case Json::arrayValue:
      return EqualArrays(left, right, AreSame);
    case Json::objectValue:
      return EqualObjects(left, right, AreSame);
    default:
      return true;  // both null
  }
}

bool QVJson::CheckEqual(const Json::Value& left, const Json::Value& right) {
  return left.isObject() && right.isObject() ? EqualObjects(left, right, EqualInColumn) : EqualInColumn(left, right);
}
