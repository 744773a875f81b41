/// The table of one kind of record. Load, save, comparison and JSON in all follow from the list that declares the
/// kind's fields (`taggedfield.h`, `dbwrapper.h` in `include/`); no kind writes SQL or reads JSON by hand. The schema
/// makes the table (`schema/versions.h`).
///
///     const Table<IPSpeaker>& SpeakerTable() {
///       static const Table<IPSpeaker> table("ipspeaker", {.misfit = Misfit::RefuseEntry});
///       return table;
///     }
///
/// Every operation that touches the database throws `db::Error`.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <initializer_list>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "db/database.h"
#include "record/fields.h"
#include "record/schema.h"
#include "record/where.h"

struct DBResult_tag;

namespace qv::record {

/// The part of `Table` that does not depend on the record's type.
class AnyTable {
 public:
  explicit AnyTable(const char* name, std::vector<Field> fields, TableOptions options)
      : schema_(name, std::move(fields), std::move(options)) {}

  const Schema& schema() const { return schema_; }
  const std::string& name() const { return schema_.name; }
  const std::vector<Field>& fields() const { return schema_.fields; }
  Columns ColumnsOf(std::initializer_list<std::string_view> names) const { return schema_.ColumnsOf(names); }

  std::vector<ListedRow> List(const Where& where) const;
  std::int64_t Count(const Where& where) const;
  /// The query for it, sent; its one row is to be read. `where` must live as long if it has texts.
  db::Query SendCount(const Where& where) const;
  /// Has the rows travel ahead of whoever selects them whole, in a unit of work that sends its writes ahead.
  void Foresee(const Where& where) const;
  /// The host ids of a server's rows by their ids on that server; of several rows with one id, the first.
  std::unordered_map<int, int> HostIds(int zrId) const;
  /// Deletes rows and counts them as removed. @return how many
  std::int64_t DeleteWhere(const Where& where) const;
  /// The same, without waiting for it in a unit of work that sends its writes ahead.
  void DeleteLater(const Where& where) const;

 protected:
  /// The rows in order of their ids.
  db::Query SelectRows(const Where& where, const Columns& columns) const;
  std::string SelectionSql(const Where& where, const Columns& columns) const;
  static void ReadColumns(const Columns& columns, const db::Query& query, void* record);
  void ReadRow(void* record, DBResult_tag* result, unsigned row) const;
  [[noreturn]] static void RefusePart();
  bool SaveRecord(void* record) const;
  void SaveRecordLater(void* record) const;
  void UpdateLater(const void* record, const Update& update) const;
  /// @return the new row's id
  std::int64_t Insert(const void* record) const;
  bool Differs(const void* record, const Json::Value& entry) const;
  bool Apply(void* record, const Json::Value& entry) const;
  /// The first field that a member of `entry`, an object, does not fit; null: there is none.
  const Field* FindMisfit(const void* record, const Json::Value& entry) const;
  int HostId(const void* record) const;

 private:
  /// Runs a statement that writes, and counts what it changed. @return how many rows
  std::int64_t Write(db::Query& query, db::Change change) const;
  void WriteLater(db::Query& query, db::Change change) const;
  bool UpdateRecord(const void* record) const;
  /// Whether the row is there and has the owner that the record has; false for a kind without owners.
  bool IsOwnedAs(const void* record) const;

  Schema schema_;
};

/// The table of `Record`, which derives from `TaggedRecord` or from `DBWrapper`.
template <class Record>
class Table : public AnyTable {
 public:
  explicit Table(const char* name, TableOptions options = {})
      : AnyTable(name, FieldsOf<Record>(static_cast<const Record*>(nullptr)), std::move(options)) {}

  /// The rows in order of their ids.
  std::list<Record> Select(const Where& where) const { return Select(where, schema().all); }
  /// The same, of every row no more than `columns`; the other fields are blank.
  std::list<Record> Select(const Where& where, const Columns& columns) const {
    std::list<Record> rows;
    for (db::Query query = SelectRows(where, columns); query.Next();) {
      ReadColumns(columns, query, &rows.emplace_back(Blank(columns)));
    }
    return rows;
  }
  /// Hands `take(record)` each of these rows in turn, in one record that serves them all: nothing is kept of it.
  template <class Take>
  void ForEach(const Where& where, const Columns& columns, Take&& take) const {
    Record record = Blank(columns);
    for (db::Query query = SelectRows(where, columns); query.Next();) {
      ReadColumns(columns, query, &record);
      take(std::as_const(record));
    }
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
    RefuseIfPart(record);
    return SaveRecord(&record);
  }
  /// The same, without waiting for it in a unit of work that sends its writes ahead.
  void SaveLater(Record& record) const {
    RefuseIfPart(record);
    SaveRecordLater(&record);
  }
  /// Writes columns of the record's row in the same way, if there is such a row.
  void UpdateLater(const Record& record, const Update& update) const { AnyTable::UpdateLater(&record, update); }
  /// Deletes the record's row in the same way.
  void DeleteLater(const Record& record) const { AnyTable::DeleteLater(Where().Is("id", HostId(&record))); }
  using AnyTable::DeleteLater;

  /// Whether applying `entry` would change the record.
  bool Differs(const Record& record, const Json::Value& entry) const { return AnyTable::Differs(&record, entry); }
  /// Takes the entry's members into the record; members that are absent or null keep their value. Status fields are
  /// taken only while the record has no host id. @return false when the entry is refused: the record is unchanged
  bool Apply(Record& record, const Json::Value& entry) const { return AnyTable::Apply(&record, entry); }
  /// Whether every member of `entry` has a field that can hold it. Says nothing in the log.
  bool Fits(const Record& record, const Json::Value& entry) const {
    return entry.isObject() && FindMisfit(&record, entry) == nullptr;
  }

 private:
  static constexpr bool kMayBePart = requires(Record record) { record.MarkAsPart(); };

  static void RefuseIfPart(const Record& record) {
    if constexpr (kMayBePart) {
      if (record.IsPart()) RefusePart();
    }
  }
  /// A record to read `columns` into.
  Record Blank(const Columns& columns) const {
    Record record;
    if constexpr (kMayBePart) {
      if (columns.fields.size() < fields().size()) record.MarkAsPart();
    }
    return record;
  }
};

}  // namespace qv::record
