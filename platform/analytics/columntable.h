/// The table of one kind of record with typed columns (include/dbwrapper.h): the SQL that makes, writes and reads it,
/// and its way from and to JSON. Listing, counting and deleting are those of every table.
#pragma once

#include <json/value.h>

#include <algorithm>
#include <functional>
#include <list>
#include <span>
#include <string>
#include <vector>

#include "../log/message.h"
#include "../record/table.h"
#include "dbwrapper.h"
#include "qvoptional.h"

namespace qv::analytics {

/// Which rows are meant, as SQL text. Conditions are joined by AND; an empty one means every row.
class Criteria {
 public:
  Criteria& Is(const char* column, int value) { return Add(std::string(column) + "=" + std::to_string(value)); }
  template <class T>
  Criteria& Is(const char* column, const Optional<T>& value) {
    return value ? Is(column, static_cast<int>(value.Value())) : *this;
  }
  Criteria& In(const char* column, const Optional<std::vector<int>>& values);
  /// " WHERE ...", or nothing for every row.
  const std::string& Sql() const { return sql_; }

 private:
  Criteria& Add(const std::string& condition);
  std::string sql_;
};

class ColumnTable : public record::AnyTable {
 public:
  /// A record's members, in order of the columns.
  using Members = std::span<DBMember* const>;

  /// @param hidden  further columns, integers that records and listings do not have
  ColumnTable(const char* name, std::span<const DBColumn> columns, std::initializer_list<const char*> hidden = {});

  /// Sets every column from the member of `json`, an object, that has its name, as if an absent one were null. What a
  /// column cannot give back as it was reported, and members without a column, go into the extra column.
  /// @return false after one log line when that is nothing that JSON text can hold: the record must not be saved
  bool TakeJson(Members members, const Json::Value& json) const;
  Json::Value ToJson(Members members, bool columns_only) const;

  /// Writes a record: a new row, which gives it its id, or the columns of its row if one of them differs.
  /// @return 0 on success, -1 after one log line
  template <class COLUMNS>
  int Save(DBWrapper<COLUMNS>& record) const {
    return Save(record.Data().table(), record.IsStorable(), record.ShouldLogOnError());
  }

  /// Adds the rows to `records` in order of their ids. @return 0 on success, -1 on failure (nothing is added then)
  template <class Records>
  int Select(const Criteria& criteria, Records& records) const {
    return Select(criteria, typename Records::value_type().ShouldLogOnError(),
                  [&]() -> Members { return records.emplace_back().Data().table(); });
  }
  /// Loads the first of the rows that `is_meant(row)`. @return 0 on success; -1 when there is none or on failure
  template <class Record, class IsMeant>
  int Load(const Criteria& criteria, Record& record, IsMeant&& is_meant) const {
    std::list<Record> found;
    if (Select(criteria, found) != 0) return -1;
    const auto row = std::find_if(found.begin(), found.end(), is_meant);
    if (row == found.end()) return -1;
    record = *row;
    return 0;
  }
  /// Deletes the rows. `failure` is the message for a failure; its "{}" takes `id`. @return 0, or -1 after that message
  int DeleteRows(log::Text<int> failure, const record::Where& where, int id, bool must_exist = false) const;

  /// As for every table, floats with their own digits, and of the extra column only what holds a value.
  std::vector<record::ListedRow> List(const record::Where& where) const override;

 private:
  int Save(Members members, bool is_storable, bool log_on_error) const;
  int Select(const Criteria& criteria, bool log_on_error, const std::function<Members()>& next) const;
  std::string ValueOf(Members members, std::size_t column) const;
  std::string InsertText(Members members) const;
  std::string UpdateText(Members members) const;

  std::span<const DBColumn> columns_;
  std::size_t extra_ = 0;      ///< place of the extra column
  std::string names_;          ///< of all columns, joined by ","
  std::string written_names_;  ///< of all columns but the id
};

}  // namespace qv::analytics
