#include "record/fieldvalue.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

#include "db/database.h"
#include "ftos.h"
#include "json/document.h"
#include "json/equal.h"
#include "json/storable.h"
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
  return !held.empty() && json::AreSame(ParseStored(held), value);
}

/// A float with the digits that tell it from other floats, not those of the double that holds it.
double Shortest(float value) {
  std::array<char, 32> digits;
  const auto text = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  double shortest = 0;
  std::from_chars(digits.data(), text.ptr, shortest);
  return shortest;
}

/// The text of a JSON value, which `made` keeps when the value itself is none. None for an array or an object.
std::optional<std::string_view> ToText(const Json::Value& value, std::string& made) {
  const char* begin = nullptr;
  const char* end = nullptr;
  if (value.getString(&begin, &end)) return std::string_view(begin, static_cast<std::size_t>(end - begin));
  if (value.isArray() || value.isObject()) return std::nullopt;
  return made = value.asString();
}

/// `value` as the field would hold it; none: it cannot. `made` keeps a text that is made for it.
std::optional<Value> Convert(const Field& field, const Json::Value& value, std::string& made) {
  switch (field.type) {
    case ValueType::Int: {
      // Nobody finds a row again by an id that is a text.
      if (field.info.role == FieldRole::IdOnSlave && value.isString()) return std::nullopt;
      int number = 0;
      if (!ToInt(value, number)) return std::nullopt;
      return number;
    }
    case ValueType::Bool: {
      bool flag = false;
      if (!ToBool(value, flag)) return std::nullopt;
      return flag ? 1 : 0;
    }
    case ValueType::Float:
    case ValueType::Real: {
      double number = 0;
      if (!ToReal(value, number)) return std::nullopt;
      return number;
    }
    case ValueType::Text:
      return ToText(value, made);
    case ValueType::Json:
      break;
  }
  made = JsonWrite(value, true);
  return made;
}

struct Comparison {
  Fit fit;
  Value reported = {};
};

Comparison Compare(const Field& field, const void* record, const Json::Value& value, std::string& made) {
  if (value.isNull()) return {Fit::Same};
  const std::optional<Value> reported = Convert(field, value, made);
  if (!reported) return {Fit::Misfit};
  const Value held = field.get(record);
  if (*reported == held) return {Fit::Same};
  if (field.type == ValueType::Json) {
    if (MeansTheSame(std::get<std::string_view>(held), value)) return {Fit::Same};
    if (json::WhyNotStorable(value) != nullptr) return {Fit::Misfit};
  }
  return {Fit::Differs, *reported};
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
  if (field.info.references != nullptr && value == Value(0)) {
    query.BindNull();
  } else {
    std::visit([&](const auto held) { query.Bind(held); }, value);
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
  return Compare(field, record, value, made).fit;
}

Fit TakeField(const Field& field, void* record, const Json::Value& value) {
  std::string made;
  const Comparison comparison = Compare(field, record, value, made);
  if (comparison.fit == Fit::Differs) field.set(record, comparison.reported);
  return comparison.fit;
}

bool Holds(const JsonText& held, const Json::Value& value) {
  return held.text == JsonWrite(value, true) || MeansTheSame(held.text, value);
}

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
