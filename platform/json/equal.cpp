#include "json/equal.h"

#include <cmath>
#include <limits>

#include "json/views.h"
#include "qvjson.h"

namespace {

bool IsReal(const Json::Value& value) { return value.type() == Json::realValue; }

/// By value. Exact: no integer is rounded to a double on the way. jsoncpp takes a double without a fraction for an
/// integer here.
bool EqualNumbers(const Json::Value& left, const Json::Value& right) {
  if (left.isInt64() && right.isInt64()) return left.asInt64() == right.asInt64();
  if (left.isUInt64() && right.isUInt64()) return left.asUInt64() == right.asUInt64();
  return IsReal(left) && IsReal(right) && left.asDouble() == right.asDouble();
}

/// Whether a float column that was sent `sent` gives back `stored`.
bool IsKeptAsFloat(double sent, double stored) {
  return std::abs(sent) <= static_cast<double>(std::numeric_limits<float>::max()) &&
         static_cast<double>(static_cast<float>(sent)) == stored;
}

bool EqualAsFloats(const Json::Value& left, const Json::Value& right) {
  return IsReal(left) && IsReal(right) &&
         (IsKeptAsFloat(left.asDouble(), right.asDouble()) || IsKeptAsFloat(right.asDouble(), left.asDouble()));
}

bool EqualBoolAndNumber(const Json::Value& flag, const Json::Value& number) {
  return number.asDouble() == (flag.asBool() ? 1.0 : 0.0);
}

template <class Equal>
bool EqualArrays(const Json::Value& left, const Json::Value& right, Equal equal) {
  if (left.size() != right.size()) return false;
  // By index: an array may have gaps, which read as null.
  for (Json::ArrayIndex i = 0; i < left.size(); ++i) {
    if (!equal(left[i], right[i])) return false;
  }
  return true;
}

const Json::Value* FindMember(const Json::Value& object, std::string_view name) {
  return object.find(name.data(), name.data() + name.size());
}

/// An absent member equals a null one.
template <class Equal>
bool EqualObjects(const Json::Value& left, const Json::Value& right, Equal equal) {
  for (auto member = left.begin(); member != left.end(); ++member) {
    const Json::Value* const other = FindMember(right, qv::json::NameOf(member));
    if (other == nullptr ? !member->isNull() : !equal(*member, *other)) return false;
  }
  for (auto member = right.begin(); member != right.end(); ++member) {
    if (!member->isNull() && FindMember(left, qv::json::NameOf(member)) == nullptr) return false;
  }
  return true;
}

/// Two values of one column: what was sent for it, and what the typed column gives back.
bool EqualInColumn(const Json::Value& left, const Json::Value& right) {
  if (left.isBool() && right.isNumeric()) return EqualBoolAndNumber(left, right);
  if (right.isBool() && left.isNumeric()) return EqualBoolAndNumber(right, left);
  return qv::json::AreSame(left, right) || EqualAsFloats(left, right);
}

}  // namespace

bool qv::json::AreSame(const Json::Value& left, const Json::Value& right) {
  if (left.isNumeric() && right.isNumeric()) return EqualNumbers(left, right);
  if (left.type() != right.type()) return false;
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
