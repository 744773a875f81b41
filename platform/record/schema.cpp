#include "record/schema.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

namespace qv::record {
namespace {

const char* SqlType(ValueType type) {
  switch (type) {
    case ValueType::Int:
    case ValueType::Bool:
      return "INTEGER";
    case ValueType::Float:
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

void Add(Columns& columns, const Field& field) {
  columns.names += (columns.names.empty() ? "" : ",") + std::string(field.info.column);
  columns.fields.push_back(&field);
}

std::string UpdateSql(const std::string& table, const Columns& set, const Field* owner) {
  std::string assignments;
  std::size_t number = 0;
  for (const Field* field : set.fields) {
    assignments += fmt::format("{}{}=${}", number == 0 ? "" : ",", field->info.column, number + 1);
    ++number;
  }
  std::string of_owner;
  if (owner != nullptr) of_owner = fmt::format("{}=${} AND ", owner->info.column, ++number);
  return fmt::format("UPDATE {} SET {} WHERE {}id=${} AND ({}) IS DISTINCT FROM ({})", table, assignments, of_owner,
                     number + 1, set.names, Parameters(set.fields.size()));
}

}  // namespace

Schema::Schema(const char* table_name, std::vector<Field> table_fields, TableOptions table_options)
    : name(table_name), fields(std::move(table_fields)), options(std::move(table_options)) {
  for (const Field& field : fields) {
    const FieldRole role = field.info.role;
    if (role == FieldRole::HostId) host_id = &field;
    if (role == FieldRole::Extra) extra = &field;
    if (role == FieldRole::Owner && field.info.references == nullptr && owner == nullptr) owner = &field;
    Add(all, field);
    if (&field == host_id) continue;
    Add(written, field);
    if (&field != owner) Add(of_an_owner, field);
  }
  FillSlots();
  insert = fmt::format("INSERT INTO {} ({}) VALUES ({}) RETURNING id", name, written.names,
                       Parameters(written.fields.size()));
  insert_with_id =
      fmt::format("INSERT INTO {} ({},id) VALUES ({})", name, written.names, Parameters(written.fields.size() + 1));
  insert_if_missing =
      fmt::format("INSERT INTO {0} ({1},id) SELECT {2} WHERE NOT EXISTS (SELECT 1 FROM {0} WHERE id=${3})", name,
                  written.names, Parameters(written.fields.size() + 1), written.fields.size() + 1);
  update = UpdateSql(name, written, nullptr);
  if (owner == nullptr) return;
  update_of_owner = UpdateSql(name, of_an_owner, owner);
  select_owner = fmt::format("SELECT {} FROM {} WHERE id=$1", owner->info.column, name);
}

void Schema::FillSlots() {
  for (const std::string_view key : options.own_keys) slots_.push_back({key, nullptr});
  for (const Field& field : fields) {
    const std::string_view column = field.info.column;
    const std::string_view key = field.info.json_key != nullptr ? field.info.json_key : column;
    switch (field.info.role) {
      case FieldRole::HostId:
        break;
      case FieldRole::Extra:
      case FieldRole::Owner:
      case FieldRole::HostOnly:
      case FieldRole::Unlisted:
        slots_.push_back({column, nullptr});
        break;
      case FieldRole::IdOnSlave:
        slots_.push_back({field.info.json_key != nullptr ? key : "id", &field});
        slots_.push_back({column, nullptr});
        break;
      case FieldRole::Config:
      case FieldRole::Secret:
      case FieldRole::Status:
        slots_.push_back({key, &field});
        break;
    }
  }
  std::stable_sort(slots_.begin(), slots_.end(), [](const Slot& a, const Slot& b) { return a.key < b.key; });
}

db::Columns Schema::ColumnDefinitions() const {
  db::Columns columns;
  for (const Field& field : fields) columns[field.info.column] = ColumnDefinition(field);
  for (const std::string& hidden : options.hidden_columns) columns[hidden] = "INTEGER NOT NULL DEFAULT 0";
  return columns;
}

Columns Schema::ColumnsOf(std::initializer_list<std::string_view> names) const {
  Columns columns;
  for (const std::string_view column : names) {
    const auto field =
        std::find_if(fields.begin(), fields.end(), [&](const Field& each) { return each.info.column == column; });
    if (field == fields.end()) throw std::logic_error(fmt::format("no column {} in {}", column, name));
    Add(columns, *field);
  }
  return columns;
}

Update Schema::UpdateBut(std::initializer_list<std::string_view> names) const {
  Update update;
  for (const Field* field : written.fields) {
    if (std::find(names.begin(), names.end(), field->info.column) == names.end()) Add(update.set, *field);
  }
  update.sql = UpdateSql(name, update.set, nullptr);
  return update;
}

}  // namespace qv::record
