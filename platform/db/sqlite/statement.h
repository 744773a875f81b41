/// Statements of SQLite, and what goes wrong with them.
#pragma once

#include <sqlite3.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "db/driver.h"

namespace qv::db {

/// As `RemedyFor`, for an error that SQLite reports.
/// @param primary       its primary code
/// @param error_number  the error of the system behind it, 0 if unknown
std::string RemedyForCode(int primary, int error_number);

struct CloseDatabase {
  void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using SqliteDatabase = std::unique_ptr<sqlite3, CloseDatabase>;
using PreparedSqlite = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

/// The connection with the transaction that it was told to begin.
struct SqliteHandle {
  SqliteDatabase database;
  bool begun = false;

  bool InTransaction() const { return sqlite3_get_autocommit(database.get()) == 0; }

  /// Throws the `Error` that a call of SQLite ended with.
  [[noreturn]] void Fail(int code, const char* sql) const;
};

class SqliteStatement final : public Statement {
 public:
  SqliteStatement(const SqliteHandle& handle, PreparedSqlite prepared)
      : handle_(handle), prepared_(std::move(prepared)) {}

  void BindNull(int parameter) override { Check(sqlite3_bind_null(get(), parameter)); }
  void BindInt(int parameter, std::int64_t value) override { Check(sqlite3_bind_int64(get(), parameter, value)); }
  void BindReal(int parameter, double value) override { Check(sqlite3_bind_double(get(), parameter, value)); }
  void BindText(int parameter, std::string_view text) override {
    // A null pointer would be bound as an SQL NULL.
    const char* data = text.data() == nullptr ? "" : text.data();
    Check(sqlite3_bind_text64(get(), parameter, data, text.size(), SQLITE_STATIC, SQLITE_UTF8));
  }

  bool Next() override {
    if (!handle_.begun && sqlite3_stmt_readonly(get()) == 0) {
      throw std::logic_error("a statement that writes was stepped through outside of a transaction");
    }
    return Step();
  }
  Written Run() override {
    Written written;
    bool has_row = Step();
    if (has_row) written.id = Int(0);
    while (has_row) has_row = Step();
    written.rows = sqlite3_changes64(handle_.database.get());
    Reset();
    return written;
  }
  void Reset() override {
    sqlite3_reset(get());
    sqlite3_clear_bindings(get());
  }

  int ColumnCount() const override { return sqlite3_column_count(get()); }
  std::string_view ColumnName(int column) const override {
    const char* name = sqlite3_column_name(get(), column);
    return name == nullptr ? std::string_view() : std::string_view(name);
  }
  bool IsNull(int column) const override { return sqlite3_column_type(get(), column) == SQLITE_NULL; }
  std::int64_t Int(int column) const override { return sqlite3_column_int64(get(), column); }
  double Real(int column) const override { return sqlite3_column_double(get(), column); }
  std::string_view Text(int column) const override {
    const unsigned char* text = sqlite3_column_text(get(), column);
    if (text == nullptr) return {};
    return {reinterpret_cast<const char*>(text), static_cast<std::size_t>(sqlite3_column_bytes(get(), column))};
  }

  /// @return whether there is a row. Throws `Error`; the statement is then reset.
  bool Step() {
    const int code = sqlite3_step(get());
    if (code == SQLITE_ROW) return true;
    if (code == SQLITE_DONE) return false;
    try {
      handle_.Fail(code, sqlite3_sql(get()));
    } catch (...) {
      Reset();
      throw;
    }
  }

 private:
  sqlite3_stmt* get() const { return prepared_.get(); }
  void Check(int code) const {
    if (code != SQLITE_OK) handle_.Fail(code, sqlite3_sql(get()));
  }

  const SqliteHandle& handle_;
  PreparedSqlite prepared_;
};

/// Reads every row of a query, or runs another statement to its end.
void TakeRows(SqliteStatement& statement, TextRows* rows);

}  // namespace qv::db
