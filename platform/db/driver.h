/// What a database driver provides. A driver is about two hundred lines; everything above it (sessions, units of
/// work, migrations, records) is written once against this interface and in the SQL that every driver takes:
/// `$1` parameters, `RETURNING`, `IS DISTINCT FROM`, INTEGER / REAL / TEXT columns.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace qv::db {

/// A database call that failed. `what()` says what was tried and what the driver said.
class Error : public std::runtime_error {
 public:
  enum class Kind {
    Statement,  ///< the statement was refused; a transaction around it is as it was before the statement
    Busy,       ///< another writer did not finish within the time limit
    Lost,       ///< the transaction is gone (disk full, I/O error): nothing of it may be committed
    Unusable,   ///< the database cannot be opened: missing rights, not a database, a newer schema version
  };
  Error(Kind kind, const std::string& what) : std::runtime_error(what), kind_(kind) {}
  Kind kind() const { return kind_; }

 private:
  Kind kind_;
};

/// A prepared statement. Bind the parameters, `Step` until false, read the columns of each row, `Reset` for the next
/// use. Parameters are numbered from 1, columns from 0. Belongs to the thread of its connection.
class Statement {
 public:
  virtual ~Statement() = default;

  virtual void BindNull(int parameter) = 0;
  virtual void BindInt(int parameter, std::int64_t value) = 0;
  virtual void BindReal(int parameter, double value) = 0;
  /// The text must stay unchanged until `Reset`.
  virtual void BindText(int parameter, std::string_view text) = 0;

  /// @return whether a row is there to read. Throws `Error`; the statement is then reset.
  virtual bool Step() = 0;
  virtual void Reset() = 0;

  virtual int ColumnCount() const = 0;
  virtual std::string_view ColumnName(int column) const = 0;
  virtual bool IsNull(int column) const = 0;
  virtual std::int64_t Int(int column) const = 0;
  virtual double Real(int column) const = 0;
  /// Valid until the next `Step` or `Reset`. Empty for a null.
  virtual std::string_view Text(int column) const = 0;

  /// Whether running it leaves the database as it is.
  virtual bool IsReadOnly() const = 0;
};

/// Columns by name, each with its definition as in CREATE TABLE: "INTEGER NOT NULL DEFAULT 0",
/// "INTEGER REFERENCES camera(id) ON DELETE CASCADE". The column of the ids is an "INTEGER PRIMARY KEY".
using Columns = std::map<std::string, std::string>;
/// Columns of tables, by the table's name.
using TableColumns = std::map<std::string, Columns>;

/// One connection. Belongs to one thread.
class Connection {
 public:
  virtual ~Connection() = default;

  /// Prepares the first statement of `sql`, a text that ends with a NUL, and sets `rest`, when given, to what follows
  /// it in the same text. Null for a text that holds no statement. `keep`: the statement will be used many times.
  virtual std::unique_ptr<Statement> Prepare(const char* sql, bool keep, const char** rest) = 0;
  /// Rows that the last INSERT, UPDATE or DELETE changed.
  virtual std::int64_t Changes() const = 0;

  virtual void Begin() = 0;  ///< a writing transaction
  virtual void Commit() = 0;
  virtual void Rollback() noexcept = 0;
  /// Whether a transaction is open. False after an error that ended it.
  virtual bool InTransaction() const = 0;

  /// Whether the storage is new and wants `SetUp` before its first use.
  virtual bool NeedsSetUp() = 0;
  /// Sets the storage up; repeating it does no harm. Called with the writer lock held.
  virtual void SetUp() = 0;
  /// The columns of every table.
  virtual TableColumns ReadColumns() = 0;
  /// Whether the database holds rows to the references of their tables. Off while a schema changes, which makes tables
  /// anew; not to be called in a transaction.
  virtual void EnforceReferences(bool enforced) noexcept = 0;

  /// Moves what has been committed to its final place when enough has gathered. Called with the writer lock held.
  /// What could not be moved stays safe where it is, so nothing is reported.
  virtual void Checkpoint() noexcept = 0;
  /// The connection is about to close. @param is_locked whether the writer lock is held, so that the
  /// driver may tidy up
  virtual void PrepareToClose(bool is_locked) noexcept = 0;
};

/// How durable a commit is.
enum class Durability {
  Process,  ///< survives the death of the process; a power cut may cost the last commits, never consistency
  Power,    ///< survives a power cut
};

struct DriverOptions {
  std::chrono::milliseconds busy_timeout{10'000};
  Durability durability = Durability::Power;
};

/// Opens connections to the database that lives in `folder`.
using ConnectionFactory =
    std::function<std::unique_ptr<Connection>(const std::filesystem::path& folder, const DriverOptions& options)>;

}  // namespace qv::db
