#include "fieldvalue.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "../db/database.h"
#include "../json/document.h"
#include "../json/equal.h"
#include "../json/storable.h"
#include "../json/write.h"
#include "qvjson.h"

namespace qv::record {
namespace {

template <class T>
T& ValueAt(const Field& field, void* record) {
  return *static_cast<T*>(field.at(record));
}
template <class T>
const T& ValueAt(const Field& field, const void* record) {
  return *static_cast<const T*>(field.at(const_cast<void*>(record)));
}

/// A number that is the whole of `text`.
template <class T>
bool ParseNumber(const std::string& text, T& number) {
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

template <class T>
Fit Take(T& held, T value, bool write) {
  if (held == value) return Fit::Same;
  if (write) held = std::forward<T>(value);
  return Fit::Differs;
}

Fit TakeText(std::string& held, const Json::Value& value, bool write) {
  const char* begin = nullptr;
  const char* end = nullptr;
  if (value.getString(&begin, &end)) {
    const std::string_view text(begin, static_cast<std::size_t>(end - begin));
    if (held == text) return Fit::Same;
    if (write) held = text;
    return Fit::Differs;
  }
  if (value.isArray() || value.isObject()) return Fit::Misfit;
  return Take(held, value.asString(), write);
}

Fit TakeJson(JsonText& held, const Json::Value& value, bool write) {
  if (Holds(held, value)) return Fit::Same;
  if (json::WhyNotStorable(value) != nullptr) return Fit::Misfit;
  if (write) held.text = JsonWrite(value, true);
  return Fit::Differs;
}

Fit Take(const Field& field, void* record, const Json::Value& value, bool write) {
  if (value.isNull()) return Fit::Same;
  switch (field.type) {
    case ValueType::Int: {
      // Nobody finds a row again by an id that is a text.
      if (field.info.role == FieldRole::IdOnSlave && value.isString()) return Fit::Misfit;
      int number = 0;
      return ToInt(value, number) ? Take(ValueAt<int>(field, record), number, write) : Fit::Misfit;
    }
    case ValueType::Bool: {
      bool flag = false;
      return ToBool(value, flag) ? Take(ValueAt<bool>(field, record), flag, write) : Fit::Misfit;
    }
    case ValueType::Real: {
      double number = 0;
      return ToReal(value, number) ? Take(ValueAt<double>(field, record), number, write) : Fit::Misfit;
    }
    case ValueType::Text:
      return TakeText(ValueAt<std::string>(field, record), value, write);
    case ValueType::Json:
      break;
  }
  return TakeJson(ValueAt<JsonText>(field, record), value, write);
}

Json::Value Masked(Json::Value value) {
  MaskSecrets(value);
  return value;
}

}  // namespace

void ReadColumn(const Field& field, const db::Statement& row, int column, void* record) {
  switch (field.type) {
    case ValueType::Int:
      ValueAt<int>(field, record) = static_cast<int>(row.Int(column));
      break;
    case ValueType::Bool:
      ValueAt<bool>(field, record) = row.Int(column) != 0;
      break;
    case ValueType::Real:
      ValueAt<double>(field, record) = row.Real(column);
      break;
    case ValueType::Text:
      ValueAt<std::string>(field, record) = row.Text(column);
      break;
    case ValueType::Json:
      ValueAt<JsonText>(field, record).text = row.Text(column);
      break;
  }
}

void ReadColumnText(const Field& field, const char* text, void* record) {
  const std::string value = text == nullptr ? "" : text;
  switch (field.type) {
    case ValueType::Int:
      if (int& number = ValueAt<int>(field, record); !ParseNumber(value, number)) number = 0;
      break;
    case ValueType::Bool: {
      int number = 0;
      ValueAt<bool>(field, record) = ParseNumber(value, number) && number != 0;
      break;
    }
    case ValueType::Real:
      if (double& number = ValueAt<double>(field, record); !ParseNumber(value, number)) number = 0;
      break;
    case ValueType::Text:
      ValueAt<std::string>(field, record) = value;
      break;
    case ValueType::Json:
      ValueAt<JsonText>(field, record).text = value;
      break;
  }
}

void BindField(const Field& field, const void* record, db::Query& query) {
  switch (field.type) {
    case ValueType::Int: {
      const int value = ValueAt<int>(field, record);
      if (field.info.references != nullptr && value == 0) {
        query.BindNull();
      } else {
        query.Bind(value);
      }
      break;
    }
    case ValueType::Bool:
      query.Bind(ValueAt<bool>(field, record));
      break;
    case ValueType::Real:
      query.Bind(ValueAt<double>(field, record));
      break;
    case ValueType::Text:
      query.Bind(std::string_view(ValueAt<std::string>(field, record)));
      break;
    case ValueType::Json:
      query.Bind(std::string_view(ValueAt<JsonText>(field, record).text));
      break;
  }
}

Json::Value ColumnAsJson(const Field& field, const db::Statement& row, int column) {
  switch (field.type) {
    case ValueType::Int:
      return Json::Value(static_cast<Json::Int64>(row.Int(column)));
    case ValueType::Bool:
      return Json::Value(row.Int(column) != 0);
    case ValueType::Real:
      return Json::Value(row.Real(column));
    case ValueType::Text:
      return Masked(std::string(row.Text(column)));
    case ValueType::Json:
      break;
  }
  return Masked(ParseStored(row.Text(column)));
}

Json::Value FieldAsJson(const Field& field, const void* record) {
  switch (field.type) {
    case ValueType::Int:
      return Json::Value(ValueAt<int>(field, record));
    case ValueType::Bool:
      return Json::Value(ValueAt<bool>(field, record));
    case ValueType::Real:
      return Json::Value(ValueAt<double>(field, record));
    case ValueType::Text:
      return Json::Value(ValueAt<std::string>(field, record));
    case ValueType::Json:
      break;
  }
  return ParseStored(ValueAt<JsonText>(field, record).text);
}

Fit CompareField(const Field& field, const void* record, const Json::Value& value) {
  return Take(field, const_cast<void*>(record), value, false);
}

Fit TakeField(const Field& field, void* record, const Json::Value& value) { return Take(field, record, value, true); }

bool Holds(const JsonText& held, const Json::Value& value) {
  const json::Written written = json::CompareWritten(value, held.text);
  return written == json::Written::Same ||
         (written == json::Written::Unclear && !held.text.empty() && json::AreSame(ParseStored(held.text), value));
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

}  // namespace qv::record
