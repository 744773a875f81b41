/// One typed column of a database record: takes its value from JSON, gives it back as JSON, writes it as an SQL literal
/// and reads it from a query's result.
///
///     DBPrimitiveMember<int> port;
///     port.SetByJson(entry["port"]);
///     sql += "port=" + port.ToSqlValue();
///
/// A column's value may be a `std::string`, a bool, an int, a float or an enumeration over int. Records reach their
/// columns through `DBMember` (see dbwrapper.h); implementations in other libraries count on the order of its virtual
/// functions.
#pragma once

#include <json/value.h>
#include <locale.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "dbglog.h"
#include "ftos.h"
#include "qvdb.h"
#include "qvjson.h"

class DBMember {
 public:
  virtual ~DBMember() = default;

  /// Takes `value` over; null is 0, false or the empty text. A value that the JSON library cannot convert to the
  /// column's type is reported in the log and leaves the column as it is. Other exceptions pass.
  virtual void SetByJson(const Json::Value& value) = 0;
  virtual Json::Value ToJson() const = 0;
  /// The value as an SQL literal; texts quoted and escaped.
  virtual std::string ToSqlValue() const = 0;
  /// Reads field `column` of a fetched row. A null, or a column that the result has not, is 0, false or the empty text.
  virtual void FromSqlResult(DBResult_tag* result, unsigned row, const std::string& column) = 0;

 protected:
  DBMember() = default;
  DBMember(const DBMember&) = default;
  DBMember& operator=(const DBMember&) = default;
};

template <class T>
class DBPrimitiveMember : public DBMember {
  static constexpr bool kIsText = std::is_same_v<T, std::string>;
  static constexpr bool kIsBool = std::is_same_v<T, bool>;
  static constexpr bool kIsFloat = std::is_same_v<T, float>;
  static_assert(kIsText || kIsBool || kIsFloat || std::is_same_v<T, int> ||
                    (std::is_enum_v<T> && sizeof(T) == sizeof(int)),
                "not the type of a column");

 public:
  const T& Get() const { return value_; }
  void Set(T value) { value_ = std::move(value); }

  void SetByJson(const Json::Value& value) override {
    // The JSON library's own errors are no runtime errors in every version of it.
    try {
      value_ = Convert(value);
    } catch (const Json::Exception&) {
      LogMisfit(value);
    } catch (const std::runtime_error&) {
      LogMisfit(value);
    }
  }

  Json::Value ToJson() const override {
    if constexpr (kIsText || kIsBool) {
      return Json::Value(value_);
    } else if constexpr (kIsFloat) {
      return Json::Value(static_cast<double>(value_));
    } else {
      return Json::Value(static_cast<int>(value_));
    }
  }

  std::string ToSqlValue() const override {
    if constexpr (kIsText) {
      return QVDB::QuoteEscape(value_);
    } else if constexpr (kIsFloat) {
      return ftos(static_cast<double>(value_));
    } else {
      return std::to_string(static_cast<int>(value_));
    }
  }

  void FromSqlResult(DBResult_tag* result, unsigned row, const std::string& column) override {
    if constexpr (kIsBool) {
      value_ = QVDB::FetchFieldAsBool(result, row, column.c_str());
    } else {
      const char* const text = QVDBFetchField(result, row, column.c_str());
      value_ = text == nullptr ? T{} : Parse(text);
    }
  }

 private:
  static T Convert(const Json::Value& value) {
    if constexpr (kIsText) {
      return value.asString();
    } else if constexpr (kIsBool) {
      return value.asBool();
    } else if constexpr (kIsFloat) {
      return NarrowToFloat(value.asDouble());
    } else {
      return static_cast<T>(static_cast<int>(value.asLargestInt()));  // the lower 32 bits
    }
  }

  static T Parse(const char* text) {
    if constexpr (kIsText) {
      return text;
    } else if constexpr (kIsFloat) {
      return NarrowToFloat(strtod_l(text, nullptr, DatabaseLocale()));
    } else if constexpr (std::is_enum_v<T>) {
      // Unlike an int, an enumeration may be stored as 0x1A or 010; rows of that kind exist.
      return static_cast<T>(static_cast<int>(std::strtoul(text, nullptr, 0)));
    } else {
      return static_cast<int>(std::strtoll(text, nullptr, 10));
    }
  }

  /// A database writes 0.5 with a point in every locale.
  static locale_t DatabaseLocale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
  }

  /// Written at every log level. All columns share one place in the log. Secrets in the
  /// value are masked.
  static void LogMisfit(const Json::Value& value) {
    QVPrintf(LOG_TYPE_DIAGNOSTIC, nullptr, nullptr, "include/dbmember", 100, "SetByJson",
             "Failed converting Json [%s] to DBPrimitiveMember\n", JsonDump(value).c_str());
  }

  T value_{};
};
