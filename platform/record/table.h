/// The table of one kind of record. Load, save, comparison, JSON in and JSON out all follow from the kind's field list
/// (`include/taggedfield.h`); no kind writes SQL or reads JSON by hand. The schema makes the table
/// (`schema/versions.h`).
///
///     const Table<POS>& PosTable() {
///       static const Table<POS> table("pos", {.own_keys = {"parsing_rule"}});
///       return table;
///     }
///
/// Every operation that touches the database throws `db::Error`.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <initializer_list>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "../db/driver.h"
#include "taggedfield.h"

struct DBResult_tag;

namespace qv::db {
class Query;
}  // namespace qv::db

namespace qv::record {

class FieldIndex;

enum class ValueType { Int, Bool, Real, Text, Json };

/// One field of a kind, as the shared code sees it.
struct Field {
  FieldInfo info;
  ValueType type;
  void* (*at)(void* record);  ///< address of the field's value in a record
};

/// Which rows are meant. Conditions are joined by AND; an empty one means every row.
class Where {
 public:
  Where& Is(std::string_view column, std::int64_t value);
  Where& Is(std::string_view column, std::string_view text);
  Where& In(std::string_view column, const std::list<int>& values);  ///< no values: no row
  Where& Above(std::string_view column, std::int64_t value);
  Where& UpTo(std::string_view column, std::int64_t value);
  /// The column holds the id of one of `table`'s rows that `rows` means.
  Where& InRowsOf(std::string_view column, std::string_view table, const Where& rows);
  /// " WHERE ..." with parameters numbered from `first`; empty for every row.
  std::string Sql(int first = 1) const;
  void Bind(db::Query& query) const;

 private:
  struct Condition {
    std::string column;
    std::vector<std::int64_t> values;
    std::optional<std::string> text;
    bool is_list = false;
    const char* comparison = "=";
    std::string select = {};            ///< the values are what this query selects, ...
    std::vector<Condition> inner = {};  ///< ... from the rows that these conditions mean
  };
  static std::string Sql(const std::vector<Condition>& conditions, int& parameter);
  static void Bind(const std::vector<Condition>& conditions, db::Query& query);
  std::vector<Condition> conditions_;
};

/// What becomes of an entry with a member that its field cannot hold (a text where a number belongs).
enum class Misfit {
  RefuseEntry,  ///< nothing of the entry is taken
  KeepMember,   ///< the record keeps its value of that member, the others are taken
};

struct TableOptions {
  /// Keys of an entry that have a place of their own (a list of doors): neither a field nor extra.
  std::vector<std::string_view> own_keys = {};
  Misfit misfit = Misfit::KeepMember;
  /// The host id is given by the caller (a server's id in the CMS), not by the database.
  bool caller_assigns_id = false;
};

/// Some of a table's columns, in an order of their own.
struct Columns {
  std::string names;  ///< for a statement
  std::vector<const Field*> fields;
};

/// A row for a listing: names and values in the order of the field list, secrets left out.
using ListedRow = std::vector<std::pair<std::string, Json::Value>>;

/// The part of `Table` that does not depend on the record's type.
class AnyTable {
 public:
  AnyTable(const char* name, std::vector<Field> fields, TableOptions options);
  virtual ~AnyTable();
  AnyTable(const AnyTable&) = delete;
  AnyTable& operator=(const AnyTable&) = delete;

  const std::string& name() const { return name_; }
  const std::vector<Field>& fields() const { return fields_; }
  /// Columns by their names.
  Columns ColumnsOf(std::initializer_list<std::string_view> names) const;
  /// The columns as the schema must have them.
  db::Columns ColumnDefinitions() const;

  virtual std::vector<ListedRow> List(const Where& where) const;
  std::int64_t Count(const Where& where) const;
  /// The host ids of a server's rows by their ids on that server; of several rows with one id, the first.
  std::unordered_map<int, int> HostIds(int zrId) const;
  /// Deletes rows and counts them as removed. @return how many
  std::int64_t DeleteWhere(const Where& where) const;

 protected:
  void SelectInto(const Where& where, const Columns& columns, void* context, void* (*next)(void* context)) const;
  const Columns& all_columns() const;
  void ReadRow(void* record, DBResult_tag* result, unsigned row) const;
  [[noreturn]] static void RefusePart();
  bool SaveRecord(void* record) const;
  bool Differs(const void* record, const Json::Value& entry) const;
  bool Apply(void* record, const Json::Value& entry) const;
  /// The first field that a member of `entry`, an object, does not fit; null: there is none.
  const Field* FindMisfit(const void* record, const Json::Value& entry) const;
  Json::Value RecordToJson(const void* record) const;
  int HostId(const void* record) const;

 private:
  struct Statements;
  bool UpdateRecord(const void* record) const;
  /// Whether the row is there and has the owner that the record has; false for a kind without owners.
  bool IsOwnedAs(const void* record) const;

  std::string name_;
  std::vector<Field> fields_;
  TableOptions options_;
  std::unique_ptr<const FieldIndex> index_;
  std::unique_ptr<const Statements> statements_;  ///< texts made once from the fields
};

/// Reads and writes the values of tagged fields.
struct Access {
  template <class Record, class Fields, int TAG>
  static void* At(void* record) {
    TaggedField<Fields, TAG>& field = *static_cast<Record*>(record);
    return &field.value_;
  }
  template <class Fields, int TAG>
  static constexpr ValueType TypeOf() {
    using Value = decltype(TaggedField<Fields, TAG>::value_);
    if constexpr (std::is_same_v<Value, int>) return ValueType::Int;
    if constexpr (std::is_same_v<Value, bool>) return ValueType::Bool;
    if constexpr (std::is_same_v<Value, double>) return ValueType::Real;
    if constexpr (std::is_same_v<Value, std::string>) return ValueType::Text;
    if constexpr (std::is_same_v<Value, JsonText>) return ValueType::Json;
  }
};

template <class Record, class Fields, int... TAGS>
std::vector<Field> FieldsOf(std::integer_sequence<int, TAGS...>) {
  return {
      Field{TaggedField<Fields, TAGS>::kInfo, Access::TypeOf<Fields, TAGS>(), &Access::At<Record, Fields, TAGS>}...};
}

/// The table of `Record`, which derives from `TaggedRecord<Fields>`.
template <class Record, class Fields>
class Table : public AnyTable {
 public:
  explicit Table(const char* name, TableOptions options = {})
      : AnyTable(name, FieldsOf<Record, Fields>(std::make_integer_sequence<int, Fields::FIELD_COUNT>{}),
                 std::move(options)) {}

  /// The rows in order of their ids.
  std::list<Record> Select(const Where& where) const { return Select(where, all_columns()); }
  /// The same, of every row no more than `columns`; the other fields are blank.
  std::list<Record> Select(const Where& where, const Columns& columns) const {
    std::list<Record> rows;
    SelectInto(where, columns, &rows,
               [](void* list) -> void* { return &static_cast<std::list<Record>*>(list)->emplace_back(); });
    if (columns.fields.size() < fields().size()) {
      for (Record& row : rows) row.MarkAsPart();
    }
    return rows;
  }
  /// Hands `take(record)` each of these rows in turn, in one record that serves them all: nothing is kept of it.
  template <class Take>
  void ForEach(const Where& where, const Columns& columns, Take&& take) const {
    struct Walk {
      Take& take;
      Record record{};
      bool is_filled = false;
      void Hand() {
        if (is_filled) take(std::as_const(record));
      }
    } walk{take};
    if (columns.fields.size() < fields().size()) walk.record.MarkAsPart();
    SelectInto(where, columns, &walk, [](void* context) -> void* {
      auto& each = *static_cast<Walk*>(context);
      each.Hand();
      each.is_filled = true;
      return &each.record;
    });
    walk.Hand();
  }
  std::optional<Record> Find(const Where& where) const {
    std::list<Record> rows = Select(where);
    if (rows.empty()) return std::nullopt;
    return std::move(rows.front());
  }
  /// Fills the record from a row of `QVDB::Execute`; columns that are SQL NULL or absent give blank values.
  void ReadRow(Record& record, DBResult_tag* result, unsigned row) const { AnyTable::ReadRow(&record, result, row); }
  /// Inserts a record whose host id is 0 and gives it its id; otherwise writes the columns of its row, and only if
  /// one differs. A part of a record is refused. @return whether a row was written
  bool Save(Record& record) const {
    if (record.IsPart()) RefusePart();
    return SaveRecord(&record);
  }
  /// @return whether the row was there
  bool Delete(const Record& record) const { return DeleteWhere(Where().Is("id", HostId(&record))) > 0; }

  /// Whether applying `entry` would change the record.
  bool Differs(const Record& record, const Json::Value& entry) const { return AnyTable::Differs(&record, entry); }
  /// Takes the entry's members into the record; members that are absent or null keep their value. Status fields are
  /// taken only while the record has no host id. @return false when the entry is refused: the record is unchanged
  bool Apply(Record& record, const Json::Value& entry) const { return AnyTable::Apply(&record, entry); }
  /// Whether every member of `entry` has a field that can hold it. Says nothing in the log.
  bool Fits(const Record& record, const Json::Value& entry) const {
    return entry.isObject() && FindMisfit(&record, entry) == nullptr;
  }
  /// The record as JSON under its columns' JSON keys, extra keys among them, secrets left out.
  Json::Value ToJson(const Record& record) const { return RecordToJson(&record); }
};

}  // namespace qv::record
