#include "columntable.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>

#include "../db/database.h"
#include "../json/storable.h"
#include "../record/attempt.h"
#include "../record/fieldvalue.h"
#include "entryreader.h"

namespace qv::analytics {
namespace {

constexpr std::size_t kIdColumn = 0;

struct FreeResult {
  void operator()(DBResult_tag* result) const { QVDBFreeResult(result); }
};
using Result = std::unique_ptr<DBResult_tag, FreeResult>;

/// Runs one statement that gives rows. @return null after a failure
Result Execute(std::string sql, bool wants_id, bool log_on_error) {
  DBResult_tag* result = nullptr;
  const int status = QVDB::Execute(kDbInstanceMain, std::move(sql), &result, wants_id, true, log_on_error, false);
  return Result(status == 0 ? result : nullptr);
}

record::ValueType TypeOf(const DBColumn& column) {
  if (column.info.role == FieldRole::Extra) return record::ValueType::Json;
  switch (column.kind) {
    case DBColumnKind::Integer:
      return record::ValueType::Int;
    case DBColumnKind::Boolean:
      return record::ValueType::Bool;
    case DBColumnKind::Real:
      return record::ValueType::Real;
    case DBColumnKind::Text:
      break;
  }
  return record::ValueType::Text;
}

/// The columns for the schema and the listing, neither of which reads a record.
std::vector<record::Field> FieldsOf(std::span<const DBColumn> columns, std::initializer_list<const char*> hidden) {
  std::vector<record::Field> fields;
  for (const DBColumn& column : columns) fields.push_back({column.info, TypeOf(column), nullptr});
  for (const char* const name : hidden) {
    fields.push_back({{.column = name, .role = FieldRole::HostOnly}, record::ValueType::Int, nullptr});
  }
  return fields;
}

/// What a column will give back once it has been stored: a text ends at a NUL there.
Json::Value Stored(const DBColumn& column, const DBMember& member) {
  Json::Value value = member.ToJson();
  return column.kind == DBColumnKind::Text ? Json::Value(value.asCString()) : value;
}

/// A float column's value with the digits that tell it from other floats, not those of the double that holds it.
double Shortest(double stored) {
  std::array<char, 32> digits;
  const auto text = std::to_chars(digits.data(), digits.data() + digits.size(), NarrowToFloat(stored));
  double value = 0;
  std::from_chars(digits.data(), text.ptr, value);
  return value;
}

/// Whether a slave's value is worth keeping beside a column that could not take it. Ids are the host's own.
bool IsReported(const DBColumn& column) {
  return column.info.role == FieldRole::Config && column.info.references == nullptr;
}

}  // namespace

Criteria& Criteria::In(const char* column, const Optional<std::vector<int>>& values) {
  if (!values) return *this;
  std::string list;
  for (const int value : values.Value()) list += (list.empty() ? "" : ",") + std::to_string(value);
  return list.empty() ? Add("1=0") : Add(std::string(column) + " IN (" + list + ")");
}

Criteria& Criteria::Add(const std::string& condition) {
  sql_ += (sql_.empty() ? " WHERE " : " AND ") + condition;
  return *this;
}

ColumnTable::ColumnTable(const char* name, std::span<const DBColumn> columns, std::initializer_list<const char*> hidden)
    : AnyTable(name, FieldsOf(columns, hidden), {}), columns_(columns) {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const std::string column = columns_[i].info.column;
    names_ += (names_.empty() ? "" : ",") + column;
    if (i != kIdColumn) written_names_ += (written_names_.empty() ? "" : ",") + column;
    if (columns_[i].info.role == FieldRole::Extra) extra_ = i;
  }
}

bool ColumnTable::TakeJson(Members members, const Json::Value& json) const {
  Json::Value beside = json;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (i == extra_) continue;
    const char* const name = columns_[i].info.column;
    const Json::Value& value = json[name];
    members[i]->SetByJson(value);
    if (IsReported(columns_[i]) && !QVJson::CheckEqual(Stored(columns_[i], *members[i]), value)) {
      beside[name] = value;  // an absent one as null, so that the column's default is not taken for a report
    } else {
      beside.removeMember(name);
    }
  }
  for (const std::string& name : json.getMemberNames()) {
    const auto has_name = [&](const DBColumn& column) { return name == column.info.column; };
    const auto column = std::find_if(columns_.begin(), columns_.end(), has_name);
    if (json[name].isNull() && (column == columns_.end() || column->info.role == FieldRole::Extra)) {
      beside.removeMember(name);
    }
  }
  if (const char* const reason = json::WhyNotStorable(beside)) {
    const db::Error error(db::Error::Kind::Statement, reason);
    record::LogFailure("Failed to save row [{}] of {}", error, members[kIdColumn]->ToJson().asInt(), name());
    return false;
  }
  members[extra_]->SetByJson(beside.empty() ? Json::Value() : Json::Value(JsonWrite(beside, true)));
  return true;
}

Json::Value ColumnTable::ToJson(Members members, bool columns_only) const {
  Json::Value json(Json::objectValue);
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (i != extra_) json[columns_[i].info.column] = members[i]->ToJson();
  }
  if (columns_only) return json;
  const Json::Value beside = record::ParseStored(members[extra_]->ToJson().asString());
  if (!beside.isObject()) return json;
  for (const std::string& name : beside.getMemberNames()) {
    if (beside[name].isNull()) {
      json.removeMember(name);
    } else {
      json[name] = beside[name];
    }
  }
  return json;
}

std::string ColumnTable::ValueOf(Members members, std::size_t column) const {
  std::string value = members[column]->ToSqlValue();
  return columns_[column].info.references != nullptr && value == "0" ? "NULL" : value;
}

std::string ColumnTable::InsertText(Members members) const {
  std::string values;
  for (std::size_t i = kIdColumn + 1; i < members.size(); ++i) values += (i > 1 ? "," : "") + ValueOf(members, i);
  return "INSERT INTO " + name() + " (" + written_names_ + ") VALUES (" + values + ") RETURNING id";
}

std::string ColumnTable::UpdateText(Members members) const {
  std::string assignments;
  std::string values;
  for (std::size_t i = kIdColumn + 1; i < members.size(); ++i) {
    const std::string value = ValueOf(members, i);
    assignments += (i > 1 ? "," : "") + std::string(columns_[i].info.column) + "=" + value;
    values += (i > 1 ? "," : "") + value;
  }
  return "UPDATE " + name() + " SET " + assignments + " WHERE id=" + members[kIdColumn]->ToSqlValue() + " AND (" +
         written_names_ + ") IS DISTINCT FROM (" + values + ") RETURNING id";
}

int ColumnTable::Save(Members members, bool is_storable, bool log_on_error) const {
  const int id = members[kIdColumn]->ToJson().asInt();
  if (!is_storable) {
    const db::Error error(db::Error::Kind::Statement, "it does not name what it belongs to");
    record::LogFailure("Failed to save row [{}] of {}", error, id, name());
    return -1;
  }
  const Result result = Execute(id == 0 ? InsertText(members) : UpdateText(members), id == 0, log_on_error);
  if (result == nullptr) return -1;
  unsigned row = 0;
  if (QVDBFetchRow(result.get(), &row) != 0) return 0;  // the row is so already
  members[kIdColumn]->FromSqlResult(result.get(), row, columns_[kIdColumn].info.column);
  db::CountChange(name(), id == 0 ? db::Change::Added : db::Change::Updated, 1);
  return 0;
}

int ColumnTable::Select(const Criteria& criteria, bool log_on_error, const std::function<Members()>& next) const {
  const Result result =
      Execute("SELECT " + names_ + " FROM " + name() + criteria.Sql() + " ORDER BY id", false, log_on_error);
  if (result == nullptr) return -1;
  for (unsigned row = 0; QVDBFetchRow(result.get(), &row) == 0;) {
    const Members members = next();
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      members[i]->FromSqlResult(result.get(), row, columns_[i].info.column);
    }
  }
  return 0;
}

int ColumnTable::DeleteRows(log::Text<int> failure, const record::Where& where, int id, bool must_exist) const {
  return record::Attempt(failure, id, [&] {
    if (DeleteWhere(where) == 0 && must_exist) throw db::Error(db::Error::Kind::Statement, "there is no such row");
  });
}

std::vector<record::ListedRow> ColumnTable::List(const record::Where& where) const {
  std::vector<record::ListedRow> rows = AnyTable::List(where);
  for (record::ListedRow& row : rows) {
    row.resize(columns_.size());
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      Json::Value& value = row[i].second;
      if (columns_[i].kind == DBColumnKind::Real) value = Shortest(value.asDouble());
    }
    Json::Value& extra = row[extra_].second;
    if (!extra.isObject()) continue;
    extra = WithoutNulls(std::move(extra));
    if (extra.empty()) extra = Json::Value();
  }
  return rows;
}

}  // namespace qv::analytics
