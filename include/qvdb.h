/// The database library: SQL text on a numbered database instance, and the rows that it returns.
///
/// Usage: `Execute` a text; for a query, fetch rows until `QVDBFetchRow` returns non-zero, read fields by column
/// name, and hand the result back with `QVDBFreeResult`. Every function may be called from any thread; a result
/// belongs to the thread that asked for it.
#pragma once

#include <string>

/// A database of the package. The numbers are the package's; one database may serve several of them.
using DB_INSTANCE = int;

inline constexpr DB_INSTANCE kDbInstanceMain = 0;      ///< cameras, I/O modules, edge storage, analytics
inline constexpr DB_INSTANCE kDbInstancePos = 9;       ///< POS terminals
inline constexpr DB_INSTANCE kDbInstanceSpeaker = 13;  ///< IP speakers

/// Rows that a query returned. Opaque to callers.
struct DBResult_tag;

namespace QVDB {

/// Runs `sql`, which may hold several statements separated by ";". They take effect together or not at all.
///
/// @param instance     the database
/// @param sql          the statements; empty ones are ignored
/// @param result       receives the rows of the last query, to be freed with `QVDBFreeResult`; null when no rows
///                     are wanted. Left untouched on failure.
/// @param wantLastId   the caller will ask for the id of the last inserted row
/// @param retryOnBusy  wait for another writer, within the database's time limit, instead of failing at once
/// @param logOnError   write one line to the log when the command fails
/// @param useCache     the text may be kept prepared for its next use
/// @return 0 on success, -1 on failure
int Execute(DB_INSTANCE instance, std::string sql, DBResult_tag** result, bool wantLastId, bool retryOnBusy,
            bool logOnError, bool useCache);

/// `text` as an SQL text literal: quoted, and escaped so that it reads back as the same bytes.
/// A NUL ends the text, as it does for the database.
std::string QuoteEscape(const std::string& text);

/// The field as a bool: true for a number other than 0 and for "t" or "true"; false for anything else and for null.
bool FetchFieldAsBool(DBResult_tag* result, unsigned row, const char* column);

}  // namespace QVDB

/// Moves to the next row. @return 0 while a row was fetched (its number is in `row`), -1 past the last one.
int QVDBFetchRow(DBResult_tag* result, unsigned* row);

/// The field's text, valid until the result is freed. Null for an SQL NULL, an unknown column or row.
const char* QVDBFetchField(DBResult_tag* result, unsigned row, const char* column);

/// Frees a result; null is allowed.
void QVDBFreeResult(DBResult_tag* result);
