#include "table.h"

#include <algorithm>
#include <stdexcept>

#include "../db/database.h"
#include "fieldindex.h"
#include "fieldvalue.h"
#include "qvdb.h"

namespace qv::record {
namespace {

const char* SqlType(ValueType type) {
  switch (type) {
    case ValueType::Int:
    case ValueType::Bool:
      return "INTEGER";
    case ValueType::Real:
      return "REAL";
    case ValueType::Text:
    case ValueType::Json:
      break;
  }
  return "TEXT";
}

/// As a database describes the field's column; see `db::Columns`.
std::string ColumnDefinition(const Field& field) {
  if (field.info.role == FieldRole::HostId) return "INTEGER PRIMARY KEY";
  const std::string type = SqlType(field.type);
  if (field.info.references != nullptr) {
    return type + " REFERENCES " + field.info.references + "(id) ON DELETE " +
           (field.info.on_delete == OnDelete::Cascade ? "CASCADE" : "SET NULL");
  }
  return type + " NOT NULL DEFAULT " + (type == "TEXT" ? "''" : std::to_string(field.info.default_int));
}

std::string Parameters(std::size_t count) {
  std::string text;
  for (std::size_t i = 1; i <= count; ++i) text += (i == 1 ? "$" : ",$") + std::to_string(i);
  return text;
}

std::string Join(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ",") + name;
  return text;
}

}  // namespace

/// Parameters appear in ascending order in every text, since drivers number them by first appearance.
struct AnyTable::Statements {
  Columns all;         ///< in order of the fields
  std::string insert;  ///< every column but the id; returns the id
  std::string insert_with_id;
  /// Every column but the id, and only where one differs; the id comes last.
  std::string update;
  /// The same for a row that stays with its owner: all but the owner, then the owner and the id. Most rows stay, and
  /// this leaves the owner's index alone. Empty for a kind without owners.
  std::string update_of_owner;
  std::string select_owner;
  const Field* owner = nullptr;  ///< the first, of a kind that has several; none when it may be NULL

  Statements(const std::string& table, const std::vector<Field>& fields) {
    std::vector<std::string> written;
    std::vector<std::string> without_owner;
    owner = FindOwner(fields);
    for (const Field& field : fields) {
      Add(all, field);
      if (field.info.role == FieldRole::HostId) continue;
      written.emplace_back(field.info.column);
      if (&field == owner) continue;
      without_owner.emplace_back(field.info.column);
    }
    insert =
        "INSERT INTO " + table + " (" + Join(written) + ") VALUES (" + Parameters(written.size()) + ") RETURNING id";
    insert_with_id =
        "INSERT INTO " + table + " (" + Join(written) + ",id) VALUES (" + Parameters(written.size() + 1) + ")";
    update = Update(table, written, nullptr);
    if (owner == nullptr) return;
    update_of_owner = Update(table, without_owner, owner->info.column);
    select_owner = "SELECT " + std::string(owner->info.column) + " FROM " + table + " WHERE id=$1";
  }

  static void Add(Columns& columns, const Field& field) {
    columns.names += (columns.names.empty() ? "" : ",") + std::string(field.info.column);
    columns.fields.push_back(&field);
  }

 private:
  static const Field* FindOwner(const std::vector<Field>& fields) {
    const auto found = std::find_if(fields.begin(), fields.end(), [](const Field& field) {
      return field.info.role == FieldRole::Owner && field.info.references == nullptr;
    });
    return found == fields.end() ? nullptr : &*found;
  }
  static std::string Update(const std::string& table, const std::vector<std::string>& set, const char* owner) {
    std::string sql;
    std::size_t number = 0;
    for (const std::string& column : set) {
      sql += (sql.empty() ? "" : ",") + column + "=$" + std::to_string(++number);
    }
    sql = "UPDATE " + table + " SET " + sql + " WHERE ";
    if (owner != nullptr) sql += std::string(owner) + "=$" + std::to_string(++number) + " AND ";
    return sql + "id=$" + std::to_string(++number) + " AND (" + Join(set) + ") IS DISTINCT FROM (" +
           Parameters(set.size()) + ")";
  }
};

AnyTable::AnyTable(const char* name, std::vector<Field> fields, TableOptions options)
    : name_(name),
      fields_(std::move(fields)),
      options_(std::move(options)),
      index_(std::make_unique<FieldIndex>(fields_, options_.own_keys)),
      statements_(std::make_unique<Statements>(name_, fields_)) {}

AnyTable::~AnyTable() = default;

db::Columns AnyTable::ColumnDefinitions() const {
  db::Columns columns;
  for (const Field& field : fields_) columns[field.info.column] = ColumnDefinition(field);
  return columns;
}

const Columns& AnyTable::all_columns() const { return statements_->all; }

Columns AnyTable::ColumnsOf(std::initializer_list<std::string_view> names) const {
  Columns columns;
  for (const std::string_view name : names) {
    const auto field =
        std::find_if(fields_.begin(), fields_.end(), [&](const Field& each) { return each.info.column == name; });
    if (field == fields_.end()) throw std::logic_error("no column " + std::string(name) + " in " + name_);
    Statements::Add(columns, *field);
  }
  return columns;
}

void AnyTable::SelectInto(const Where& where, const Columns& columns, void* context,
                          void* (*next)(void* context)) const {
  db::Query query =
      db::ThisThread().Prepare("SELECT " + columns.names + " FROM " + name_ + where.Sql() + " ORDER BY id");
  where.Bind(query);
  while (query.Next()) {
    void* record = next(context);
    int column = 0;
    for (const Field* field : columns.fields) ReadColumn(*field, query.Row(), column++, record);
  }
}

void AnyTable::ReadRow(void* record, DBResult_tag* result, unsigned row) const {
  for (const Field& field : fields_) ReadColumnText(field, QVDBFetchField(result, row, field.info.column), record);
}

void AnyTable::RefusePart() { throw db::Error(db::Error::Kind::Statement, "only a part of it has been read"); }

bool AnyTable::SaveRecord(void* record) const {
  const int id = HostId(record);
  if (id != 0 && !(options_.caller_assigns_id && Count(Where().Is("id", id)) == 0)) return UpdateRecord(record);
  db::Query query = db::ThisThread().Prepare(id == 0 ? statements_->insert : statements_->insert_with_id);
  for (const Field& field : fields_) {
    if (field.info.role != FieldRole::HostId) BindField(field, record, query);
  }
  if (id == 0) {
    *static_cast<int*>(index_->host_id().at(record)) = static_cast<int>(query.RunForId());
  } else {
    query.Bind(id).Run();
  }
  db::CountChange(name_, db::Change::Added, 1);
  return true;
}

bool AnyTable::IsOwnedAs(const void* record) const {
  if (statements_->owner == nullptr) return false;
  db::Query query = db::ThisThread().Prepare(statements_->select_owner);
  query.Bind(HostId(record));
  return query.Next() &&
         query.Row().Int(0) == *static_cast<const int*>(statements_->owner->at(const_cast<void*>(record)));
}

bool AnyTable::UpdateRecord(const void* record) const {
  const int id = HostId(record);
  std::int64_t written = 0;
  if (const Field* owner = statements_->owner) {
    db::Query query = db::ThisThread().Prepare(statements_->update_of_owner);
    for (const Field& field : fields_) {
      if (field.info.role != FieldRole::HostId && &field != owner) BindField(field, record, query);
    }
    BindField(*owner, record, query);
    written = query.Bind(id).Run();
  }
  if (written == 0 && !IsOwnedAs(record)) {
    db::Query query = db::ThisThread().Prepare(statements_->update);
    for (const Field& field : fields_) {
      if (field.info.role != FieldRole::HostId) BindField(field, record, query);
    }
    written = query.Bind(id).Run();
  }
  db::CountChange(name_, db::Change::Updated, written);
  return written > 0;
}

std::int64_t AnyTable::DeleteWhere(const Where& where) const {
  db::Query query = db::ThisThread().Prepare("DELETE FROM " + name_ + where.Sql());
  where.Bind(query);
  const std::int64_t removed = query.Run();
  db::CountChange(name_, db::Change::Removed, removed);
  return removed;
}

std::int64_t AnyTable::Count(const Where& where) const {
  db::Query query = db::ThisThread().Prepare("SELECT COUNT(*) FROM " + name_ + where.Sql());
  where.Bind(query);
  query.Next();
  return query.Row().Int(0);
}

std::unordered_map<int, int> AnyTable::HostIds(int zrId) const {
  db::Query query =
      db::ThisThread().Prepare("SELECT id_on_rec_server,id FROM " + name_ + " WHERE owner_zr_id=$1 ORDER BY id");
  query.Bind(zrId);
  std::unordered_map<int, int> ids;
  while (query.Next()) ids.emplace(static_cast<int>(query.Row().Int(0)), static_cast<int>(query.Row().Int(1)));
  return ids;
}

std::vector<ListedRow> AnyTable::List(const Where& where) const {
  db::Query query =
      db::ThisThread().Prepare("SELECT " + all_columns().names + " FROM " + name_ + where.Sql() + " ORDER BY id");
  where.Bind(query);
  std::vector<ListedRow> rows;
  while (query.Next()) {
    ListedRow& row = rows.emplace_back();
    for (std::size_t i = 0; i < fields_.size(); ++i) {
      if (!IsListed(fields_[i].info.role)) continue;
      row.emplace_back(fields_[i].info.column, ColumnAsJson(fields_[i], query.Row(), static_cast<int>(i)));
    }
  }
  return rows;
}

int AnyTable::HostId(const void* record) const {
  return *static_cast<const int*>(index_->host_id().at(const_cast<void*>(record)));
}

}  // namespace qv::record
