#include "db/sqlite/statement.h"

#include <cerrno>

#include "db/remedy.h"
#include "db/statementtext.h"

namespace qv::db {

std::string RemedyForCode(int primary, int error_number) {
  switch (primary) {
    case SQLITE_CORRUPT:
      return "; the database is damaged: restore it from a backup";
    case SQLITE_NOTADB:
      return "; name another folder if this is the wrong one, else restore the database from a backup";
    case SQLITE_FULL:
      return RemedyFor(ENOSPC);
    case SQLITE_IOERR:
      return "; see that the disk has room and is sound";
    case SQLITE_CANTOPEN:
      return RemedyFor(error_number == 0 ? EACCES : error_number);
    case SQLITE_READONLY:
    case SQLITE_PERM:
      return RemedyFor(EACCES);
    default:
      return "";
  }
}

void SqliteHandle::Fail(int code, const char* sql) const {
  const int primary = code & 0xff;
  Error::Kind kind = Error::Kind::Statement;
  if (begun && !InTransaction()) {
    kind = Error::Kind::Lost;
  } else if (primary == SQLITE_BUSY || primary == SQLITE_LOCKED) {
    kind = Error::Kind::Busy;
  }
  throw Error(kind, FirstWords(sql) + ": " + sqlite3_errmsg(database.get()) +
                        RemedyForCode(primary, sqlite3_system_errno(database.get())));
}

void TakeRows(SqliteStatement& statement, TextRows* rows) {
  const int columns = statement.ColumnCount();
  if (rows == nullptr || columns == 0) {
    while (statement.Step()) {
    }
    return;
  }
  *rows = {};
  for (int column = 0; column < columns; ++column) rows->columns.emplace_back(statement.ColumnName(column));
  while (statement.Step()) {
    auto& row = rows->rows.emplace_back();
    for (int column = 0; column < columns; ++column) {
      row.push_back(statement.IsNull(column) ? std::nullopt : std::optional<std::string>(statement.Text(column)));
    }
  }
}

}  // namespace qv::db
