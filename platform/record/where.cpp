#include "record/where.h"

#include "db/database.h"

namespace qv::record {

Where& Where::Is(std::string_view column, std::int64_t value) {
  conditions_.push_back({std::string(column), {value}, std::nullopt});
  return *this;
}

Where& Where::Is(std::string_view column, std::string_view text) {
  conditions_.push_back({std::string(column), {}, std::string(text)});
  return *this;
}

Where& Where::InList(std::string_view column, std::vector<std::int64_t> values) {
  if (values.size() == 1) return Is(column, values.front());
  // Lists of similar length share one prepared statement: the length goes up to the next power of two, filled with
  // repetitions of the last value.
  std::size_t length = 1;
  while (length < values.size()) length *= 2;
  if (!values.empty()) values.resize(length, values.back());
  conditions_.push_back({std::string(column), std::move(values), std::nullopt, true});
  return *this;
}

Where& Where::IsNot(std::string_view column, std::int64_t value) {
  Is(column, value).conditions_.back().comparison = "<>";
  return *this;
}

Where& Where::Above(std::string_view column, std::int64_t value) {
  Is(column, value).conditions_.back().comparison = ">";
  return *this;
}

Where& Where::UpTo(std::string_view column, std::int64_t value) {
  Is(column, value).conditions_.back().comparison = "<=";
  return *this;
}

Where& Where::Contains(const std::vector<std::string_view>& columns, std::string_view text) {
  if (columns.empty()) return InList("id", {});
  std::string all = "lower(";
  for (const std::string_view column : columns) all.append(all.back() == '(' ? "" : "||' '||").append(column);
  std::string pattern = "%";
  for (const char each : text) {
    if (each == '%' || each == '_' || each == '!') pattern += '!';
    pattern += each >= 'A' && each <= 'Z' ? static_cast<char>(each - 'A' + 'a') : each;
  }
  Is(all + ')', pattern + '%').conditions_.back().comparison = " LIKE ";
  conditions_.back().after = " ESCAPE '!'";
  return *this;
}

Where& Where::InRowsOf(std::string_view column, std::string_view table, const Where& rows) {
  Condition condition{std::string(column), {}, std::nullopt};
  condition.select = "SELECT id FROM " + std::string(table);
  condition.inner = rows.conditions_;
  conditions_.push_back(std::move(condition));
  return *this;
}

std::string Where::Sql() const {
  int parameter = 1;
  return Sql(conditions_, parameter);
}

void Where::Bind(db::Query& query) const { Bind(conditions_, query); }

std::string Where::Values() const {
  std::string values;
  AppendValues(conditions_, values);
  return values;
}

std::string Where::Sql(const std::vector<Condition>& conditions, int& parameter) {
  std::string sql;
  for (const Condition& condition : conditions) {
    sql += sql.empty() ? " WHERE " : " AND ";
    if (!condition.select.empty()) {
      sql += condition.column + " IN (" + condition.select + Sql(condition.inner, parameter) + ")";
    } else if (!condition.is_list) {
      sql += condition.column + condition.comparison + "$" + std::to_string(parameter++) + condition.after;
    } else if (condition.values.empty()) {
      sql += "1=0";
    } else {
      sql += condition.column + " IN (";
      for (std::size_t i = 0; i < condition.values.size(); ++i) {
        sql += (i == 0 ? "$" : ",$") + std::to_string(parameter++);
      }
      sql += ")";
    }
  }
  return sql;
}

void Where::AppendValues(const std::vector<Condition>& conditions, std::string& values) {
  for (const Condition& condition : conditions) {
    AppendValues(condition.inner, values);
    if (condition.text) values += '\0' + *condition.text;  // no text in the database has one
    for (const std::int64_t value : condition.values) values += '\0' + std::to_string(value);
  }
}

void Where::Bind(const std::vector<Condition>& conditions, db::Query& query) {
  for (const Condition& condition : conditions) {
    Bind(condition.inner, query);
    if (condition.text) query.Bind(std::string_view(*condition.text));
    for (const std::int64_t value : condition.values) query.Bind(value);
  }
}

}  // namespace qv::record
