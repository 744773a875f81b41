/// The way of a record with typed columns (include/dbwrapper.h) from and to JSON. Unlike an entry that is applied to a
/// tagged record, the JSON here is the whole record: an absent member is a null.
#pragma once

#include <json/value.h>

#include <span>

#include "dbmember.h"
#include "record/table.h"

namespace qv::analytics {

/// A record's members, in order of the columns.
using Members = std::span<DBMember* const>;

/// Sets every column from the member of `json`, an object, that has its name. What a column cannot give back as it was
/// reported, and members without a column, go into the extra column.
/// Throws `db::Error` when that is nothing that JSON text can hold.
void TakeJson(const record::Schema& schema, Members members, const Json::Value& json);

/// The record under the names of its columns, with what the extra column holds unless `columns_only`.
Json::Value ToJson(const record::Schema& schema, Members members, bool columns_only);

/// Writes a record: a new row, which gives it its id, or the columns of its row if one of them differs.
/// Throws `db::Error`.
template <class Record>
void Save(const record::Table<Record>& table, Record& record) {
  if (!record.IsStorable()) throw db::Error(db::Error::Kind::Statement, "it does not name what it belongs to");
  table.SaveLater(record);
}

/// Deletes the rows that `where` means. Throws `db::Error`, with `must_exist` also when there is none.
void Delete(const record::AnyTable& table, const record::Where& where, bool must_exist);

}  // namespace qv::analytics
