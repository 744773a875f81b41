/// The value of one field on its way between a record, a column and JSON.
#pragma once

#include <json/value.h>

#include <string_view>

#include "db/driver.h"
#include "record/schema.h"

namespace qv::db {
class Query;
}  // namespace qv::db

namespace qv::record {

/// Column `column` of the current row.
Value ColumnValue(const Field& field, const db::Statement& row, int column);
/// The same of a column that came as text, null for an SQL NULL.
Value ParseColumn(const Field& field, const char* text);
/// The record's value as the query's next parameter.
void BindField(const Field& field, const void* record, db::Query& query);
/// The column for a listing: JSON text is unfolded, and secrets are masked. Of extra keys, those that hold a value.
Json::Value ColumnAsJson(const Field& field, const db::Statement& row, int column);

/// How a JSON value stands to a field.
enum class Fit {
  Same,     ///< the field holds it already; null says nothing and so is always the same
  Differs,  ///< the field holds another value
  Misfit,   ///< the field cannot hold it
};

/// Compares `value` with the record's field.
Fit CompareField(const Field& field, const void* record, const Json::Value& value);
/// The same, and takes a value that differs into the record.
Fit TakeField(const Field& field, void* record, const Json::Value& value);

/// Whether the text is that of a value which means the same as `value`.
bool Holds(const JsonText& held, const Json::Value& value);

/// JSON text that the host stored, as a value; null for an empty or damaged text.
Json::Value ParseStored(std::string_view text);

/// The members of an object that hold a value.
Json::Value WithoutNulls(Json::Value object);

}  // namespace qv::record
