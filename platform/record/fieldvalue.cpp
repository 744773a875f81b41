#include "record/fieldvalue.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "db/database.h"
#include "ftos.h"
#include "json/document.h"
#include "json/equal.h"
#include "json/storable.h"
#include "json/written.h"
#include "qvjson.h"

namespace qv::record {
namespace {

/// A number that is the whole of `text`.
template <class T>
bool ParseNumber(std::string_view text, T& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

bool ToInt(const Json::Value& value, int& number) {
  switch (value.type()) {
    case Json::booleanValue:
      number = value.asBool() ? 1 : 0;
      return true;
    case Json::intValue: {
      const Json::LargestInt large = value.asLargestInt();
      number = static_cast<int>(large);
      return number == large;
    }
    case Json::uintValue:
      if (!value.isInt()) return false;
      number = value.asInt();
      return true;
    case Json::realValue: {
      const double real = value.asDouble();
      if (!(real >= std::numeric_limits<int>::min() && real <= std::numeric_limits<int>::max())) return false;
      number = static_cast<int>(real);
      return true;
    }
    case Json::stringValue:
      return ParseNumber(value.asString(), number);
    default:
      return false;
  }
}

bool ToReal(const Json::Value& value, double& number) {
  if (value.isBool() || value.isNumeric()) {
    number = value.asDouble();
    return std::isfinite(number);
  }
  return value.isString() && ParseNumber(value.asString(), number) && std::isfinite(number);
}

bool ToBool(const Json::Value& value, bool& flag) {
  if (value.isBool() || value.isNumeric()) {
    flag = value.asBool();
    return true;
  }
  if (!value.isString()) return false;
  const std::string text = value.asString();
  flag = text == "true" || text == "1";
  return flag || text == "false" || text == "0";
}

bool MeansTheSame(std::string_view held, const Json::Value& value) {
  const json::Written written = json::CompareWritten(value, held);
  if (written != json::Written::Unclear) return written == json::Written::Same;
  return !held.empty() && (held == JsonWrite(value, true) || json::AreSame(ParseStored(held), value));
}

/// A float with the digits that tell it from other floats, not those of the double that holds it.
double Shortest(float value) {
  std::array<char, 32> digits;
  const auto text = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  double shortest = 0;
  std::from_chars(digits.data(), text.ptr, shortest);
  return shortest;
}

/// The text of a JSON value, which `made` keeps when the value itself is none. @return false for an array or object
bool ToText(const Json::Value& value, std::string& made, Value& text) {
  const char* begin = nullptr;
  const char* end = nullptr;
  if (value.getString(&begin, &end)) {
    text = std::string_view(begin, static_cast<std::size_t>(end - begin));
    return true;
  }
  if (value.isArray() || value.isObject()) return false;
  text = made = value.asString();
  return true;
}

/// Gives `value` as the field would hold it; `made` keeps a text that is made for it. @return false if it cannot
bool Convert(const Field& field, const Json::Value& value, std::string& made, Value& converted) {
  switch (field.type) {
    case ValueType::Int: {
      // Nobody finds a row again by an id that is a text.
      if (field.info.role == FieldRole::IdOnSlave && value.isString()) return false;
      int number = 0;
      const bool fits = ToInt(value, number);
      converted = number;
      return fits;
    }
    case ValueType::Bool: {
      bool flag = false;
      const bool fits = ToBool(value, flag);
      converted = flag ? 1 : 0;
      return fits;
    }
    case ValueType::Float:
    case ValueType::Real: {
      double number = 0;
      const bool fits = ToReal(value, number);
      converted = number;
      return fits;
    }
    case ValueType::Text:
      return ToText(value, made, converted);
    case ValueType::Json:
      break;
  }
  converted = made = JsonWrite(value, true);
  return json::WhyNotStorable(value, made) == nullptr;
}

/// As `==`, which for variants goes through a table of functions.
bool AreEqual(const Value& left, const Value& right) {
  if (const auto* text = std::get_if<std::string_view>(&left)) return *text == std::get<std::string_view>(right);
  if (const auto* number = std::get_if<std::int64_t>(&left)) return *number == std::get<std::int64_t>(right);
  return std::get<double>(left) == std::get<double>(right);
}

/// How `value` stands to the field; `reported` receives it as the field would hold it.
Fit Compare(const Field& field, const void* record, const Json::Value& value, std::string& made, Value& reported) {
  if (value.isNull()) return Fit::Same;
  const Value held = field.get(record);
  if (field.type == ValueType::Json && MeansTheSame(std::get<std::string_view>(held), value)) return Fit::Same;
  if (!Convert(field, value, made, reported)) return Fit::Misfit;
  if (AreEqual(reported, held)) return Fit::Same;
  if (field.type == ValueType::Text && json::WhyNotStorableText(std::get<std::string_view>(reported)) != nullptr) {
    return Fit::Misfit;
  }
  return Fit::Differs;
}

Json::Value Masked(Json::Value value) {
  MaskSecrets(value);
  return value;
}

}  // namespace

Value ColumnValue(const Field& field, const db::Statement& row, int column) {
  switch (field.type) {
    case ValueType::Int:
    case ValueType::Bool:
      return row.Int(column);
    case ValueType::Float:
    case ValueType::Real:
      return row.Real(column);
    case ValueType::Text:
    case ValueType::Json:
      break;
  }
  return row.Text(column);
}

Value ParseColumn(const Field& field, const char* text) {
  const std::string_view value = text == nullptr ? "" : text;
  switch (field.type) {
    case ValueType::Int:
    case ValueType::Bool: {
      int number = 0;
      return ParseNumber(value, number) ? number : 0;
    }
    case ValueType::Float:
    case ValueType::Real: {
      double number = 0;
      return ParseNumber(value, number) ? number : 0.0;
    }
    case ValueType::Text:
    case ValueType::Json:
      break;
  }
  return value;
}

void BindField(const Field& field, const void* record, db::Query& query) {
  const Value value = field.get(record);
  if (const auto* text = std::get_if<std::string_view>(&value)) {
    query.Bind(*text);
  } else if (const auto* real = std::get_if<double>(&value)) {
    query.Bind(*real);
  } else if (const std::int64_t number = std::get<std::int64_t>(value);
             number == 0 && field.info.references != nullptr) {
    query.BindNull();
  } else {
    query.Bind(number);
  }
}

Json::Value ColumnAsJson(const Field& field, const db::Statement& row, int column) {
  switch (field.type) {
    case ValueType::Int:
      return Json::Value(static_cast<Json::Int64>(row.Int(column)));
    case ValueType::Bool:
      return Json::Value(row.Int(column) != 0);
    case ValueType::Float:
      return Json::Value(Shortest(NarrowToFloat(row.Real(column))));
    case ValueType::Real:
      return Json::Value(row.Real(column));
    case ValueType::Text:
      return Masked(std::string(row.Text(column)));
    case ValueType::Json:
      break;
  }
  Json::Value value = Masked(ParseStored(row.Text(column)));
  if (field.info.role != FieldRole::Extra || !value.isObject()) return value;
  value = WithoutNulls(std::move(value));
  return value.empty() ? Json::Value() : value;
}

Fit CompareField(const Field& field, const void* record, const Json::Value& value) {
  std::string made;
  Value reported;
  return Compare(field, record, value, made, reported);
}

Fit TakeField(const Field& field, void* record, const Json::Value& value) {
  std::string made;
  Value reported;
  const Fit fit = Compare(field, record, value, made, reported);
  if (fit == Fit::Differs) field.set(record, reported);
  return fit;
}

bool Holds(const JsonText& held, const Json::Value& value) { return MeansTheSame(held.text, value); }

Json::Value ParseStored(std::string_view text) {
  if (text.empty()) return {};
  try {
    // The host wrote it: what a slave may send was judged when it came.
    constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();
    return json::ReadDocument(text, {.depth = json::kMaxDepth, .size = kNoLimit, .values = kNoLimit});
  } catch (const json::DocumentError&) {
    return {};
  }
}

Json::Value WithoutNulls(Json::Value object) {
  for (const std::string& name : object.getMemberNames()) {
    if (object[name].isNull()) object.removeMember(name);
  }
  return object;
}

}  // namespace qv::record
