/// Which rows of a table are meant.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qvoptional.h"

namespace qv::db {
class Query;
}  // namespace qv::db

namespace qv::record {

/// Conditions, joined by AND; an empty one means every row.
class Where {
 public:
  Where& Is(std::string_view column, std::int64_t value);
  Where& Is(std::string_view column, std::string_view text);
  Where& IsNot(std::string_view column, std::int64_t value);
  Where& Above(std::string_view column, std::int64_t value);
  Where& UpTo(std::string_view column, std::int64_t value);
  /// The text columns, joined by blanks, contain the text; ASCII letters match in either case. No columns: no row.
  Where& Contains(const std::vector<std::string_view>& columns, std::string_view text);
  /// No values: no row.
  template <class Values>
  Where& In(std::string_view column, const Values& values) {
    return InList(column, {values.begin(), values.end()});
  }
  /// The column holds the id of one of `table`'s rows that `rows` means.
  Where& InRowsOf(std::string_view column, std::string_view table, const Where& rows);

  /// A criterion of a filter rule, which admits every row while it is unset.
  template <class T>
  Where& Is(std::string_view column, const Optional<T>& value) {
    return value ? Is(column, static_cast<std::int64_t>(value.Value())) : *this;
  }
  template <class Values>
  Where& In(std::string_view column, const Optional<Values>& values) {
    return values ? In(column, values.Value()) : *this;
  }

  /// " WHERE ..." with parameters numbered from 1; empty for every row.
  std::string Sql() const;
  /// The values, as a text by which two of the same `Sql` differ.
  std::string Values() const;
  /// Binds the values, which must stay unchanged until the query leaves scope.
  void Bind(db::Query& query) const;

 private:
  struct Condition {
    std::string column;
    std::vector<std::int64_t> values;
    std::optional<std::string> text;
    bool is_list = false;
    const char* comparison = "=";
    const char* after = "";             ///< the parameter
    std::string select = {};            ///< the values are what this query selects, ...
    std::vector<Condition> inner = {};  ///< ... from the rows that these conditions mean
  };
  Where& InList(std::string_view column, std::vector<std::int64_t> values);
  static std::string Sql(const std::vector<Condition>& conditions, int& parameter);
  static void Bind(const std::vector<Condition>& conditions, db::Query& query);
  static void AppendValues(const std::vector<Condition>& conditions, std::string& values);
  std::vector<Condition> conditions_;
};

}  // namespace qv::record
