/// The value of one field on its way between a record, a column and JSON.
#pragma once

#include <json/value.h>

#include <string_view>

#include "table.h"

namespace qv::record {

/// Column `column` of the current row into the record.
void ReadColumn(const Field& field, const db::Statement& row, int column, void* record);
/// The same for a column that came as text, null for an SQL NULL.
void ReadColumnText(const Field& field, const char* text, void* record);
/// The record's value as the query's next parameter.
void BindField(const Field& field, const void* record, db::Query& query);
/// The column for a listing: JSON text is unfolded, and secrets are masked.
Json::Value ColumnAsJson(const Field& field, const db::Statement& row, int column);
/// The record's value as JSON; null for JSON text that holds none.
Json::Value FieldAsJson(const Field& field, const void* record);

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

}  // namespace qv::record
