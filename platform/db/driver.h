/// What a database driver provides. Everything above it (sessions, units of work, migrations, records) is written once
/// against this interface and in the SQL that every driver takes: `$1` parameters, `RETURNING`, `IS DISTINCT FROM`,
/// integers of 64 bits, floating-point numbers of 64 bits, UTF-8 texts without NUL that sort by their bytes.
///
/// A driver decides by itself how writers wait for one another, where rows are kept and how statements travel.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace qv::db {

/// A database call that failed. `what()` says what was tried and what the driver said.
class Error : public std::runtime_error {
 public:
  enum class Kind {
    Statement,  ///< the statement was refused; a transaction around it is as it was before the statement
    Busy,       ///< another writer did not finish within the time limit
    Lost,       ///< the transaction is gone (disk full, I/O error): nothing of it may be committed
    InDoubt,    ///< the server was lost while it committed, and did not come back within the time limit
    Unusable,   ///< the database cannot be opened: missing rights, not a database, a newer schema version
  };
  Error(Kind kind, const std::string& what) : std::runtime_error(what), kind_(kind) {}
  Kind kind() const { return kind_; }

 private:
  Kind kind_;
};

/// A statement that was sent ahead was refused: nothing of its transaction, or of its part of a group, may be
/// committed. It is no `Error`, so that it reaches whoever began the transaction and can do the same work once more,
/// waiting for each write.
class TakenBack : public std::runtime_error {
 public:
  explicit TakenBack(Error why) : std::runtime_error(why.what()), why_(std::move(why)) {}
  const Error& why() const { return why_; }

 private:
  Error why_;
};

/// What a statement that writes has done.
struct Written {
  std::int64_t rows = 0;           ///< that were added, updated or deleted
  std::optional<std::int64_t> id;  ///< what `RETURNING id` gave
};
/// Is told of that. It may not use the database, and not throw.
using TakeWritten = std::function<void(const Written&)>;

/// A prepared statement. Bind the parameters, call `Next` until false or `Run`, then `Reset` for the next use.
/// Parameters are numbered from 1, columns from 0. Belongs to the thread of its connection.
class Statement {
 public:
  virtual ~Statement() = default;

  virtual void BindNull(int parameter) = 0;
  virtual void BindInt(int parameter, std::int64_t value) = 0;
  virtual void BindReal(int parameter, double value) = 0;
  /// The text must stay unchanged until `Reset`.
  virtual void BindText(int parameter, std::string_view text) = 0;

  /// For a query: lets it travel ahead of other work, where that spares time. `Next` is to follow.
  virtual void Send() {}
  /// For a query: moves to its next row. @return whether there is one. Throws `Error`; the statement is then reset.
  /// `std::logic_error` for a statement that writes, outside of a transaction.
  virtual bool Next() = 0;
  /// For a statement that writes, in a transaction: runs it to its end and resets it. Throws `Error`.
  virtual Written Run() = 0;
  /// The same, without waiting for it where statements are sent ahead: `take`, if it is not empty, is called when the
  /// answer comes. Never for a statement that fails.
  // NOLINTNEXTLINE(performance-unnecessary-value-param): a driver that sends statements ahead keeps it
  virtual void RunLater(TakeWritten take) {
    const Written written = Run();
    if (take) take(written);
  }
  virtual void Reset() = 0;

  virtual int ColumnCount() const = 0;
  virtual std::string_view ColumnName(int column) const = 0;
  virtual bool IsNull(int column) const = 0;
  virtual std::int64_t Int(int column) const = 0;
  virtual double Real(int column) const = 0;
  /// Valid until the next `Next` or `Reset`. Empty for a null.
  virtual std::string_view Text(int column) const = 0;
};

/// Rows by value, as texts; none for a null.
struct TextRows {
  std::vector<std::string> columns;
  std::vector<std::vector<std::optional<std::string>>> rows;
};

/// Columns by name, each with its definition as in CREATE TABLE: "INTEGER NOT NULL DEFAULT 0",
/// "INTEGER REFERENCES camera(id) ON DELETE CASCADE". The column of the ids is an "INTEGER PRIMARY KEY".
using Columns = std::map<std::string, std::string>;
/// Columns of tables, by the table's name.
using TableColumns = std::map<std::string, Columns>;

/// How durable a commit is.
enum class Durability {
  Process,  ///< survives the death of the process; a power cut may cost the last commits, never consistency
  Power,    ///< survives a power cut
};

/// Whose rows a transaction writes: those who write the same rows wait for one another.
struct Scope {
  enum class Kind {
    OneServer,  ///< a slave's, and what it shares with others
    WholeHost,  ///< any
    Group,      ///< those of the servers whose turns it takes one by one
    Schema,     ///< the tables themselves; references between rows are not held to meanwhile
  };
  Kind kind = Kind::WholeHost;
  int server = 0;
  Durability durability = Durability::Power;  ///< of the commit; that of the connection, if it is less
};

/// The SQL that differs between databases, which is that of the schema's versions alone.
enum class Dialect { Sqlite, Postgresql };

/// Wakes those who wait for rows that other threads, processes and machines commit. It may ring for nothing and, when
/// its connection was lost, miss something. Belongs to one thread.
class Bell {
 public:
  virtual ~Bell() = default;
  /// For the next poll(2): readable when the bell rings; -1 while it cannot.
  virtual int descriptor() = 0;
  /// Takes note of all that rang so far. Throws `Error` (Unusable) when it cannot ring any more.
  virtual void Clear() = 0;
};

/// One connection. Belongs to one thread.
class Connection {
 public:
  virtual ~Connection() = default;

  virtual Dialect dialect() const = 0;
  /// The database for an error text: "the database in /srv/host".
  virtual std::string Name() const = 0;

  /// Prepares the one statement of `sql`. Throws `Error`, also for a text without a statement.
  virtual std::unique_ptr<Statement> Prepare(const std::string& sql) = 0;
  /// Runs a text of any number of statements without parameters. `rows`, when given, receives the rows of the last one
  /// that has columns. @return how many rows the last one changed. Throws `Error`; the statements before the one that
  /// failed are not taken back.
  virtual std::int64_t RunText(const std::string& text, TextRows* rows) = 0;
  /// The same for statements that write, without waiting for them where statements are sent ahead.
  virtual void RunTextLater(const std::string& text) { RunText(text, nullptr); }

  /// Begins a writing transaction when it is its turn. Throws `Error` (Busy) when that is not within `limit`.
  virtual void Begin(const Scope& scope, std::chrono::milliseconds limit) = 0;
  /// Begins a transaction whose queries all see the state that the first one sees.
  virtual void BeginReading() = 0;
  virtual void Commit() = 0;
  virtual void Rollback() noexcept = 0;
  /// Rings all bells of the database once the open transaction is committed; at once when none is open.
  virtual void RingOnCommit() = 0;
  /// A bell that rings from now on. Throws `Error` (Unusable).
  virtual std::unique_ptr<Bell> MakeBell() = 0;
  /// For a transaction of the scope `Group`: takes the turn of a further server, or of the whole host for 0, without
  /// waiting for it. @return whether nobody else had it
  virtual bool TakeTurn(int /*server*/) { return true; }
  /// The turn is over: what was to follow the commit is done, or the transaction has gone back.
  virtual void EndTurn() noexcept = 0;
  /// Whether a transaction is open. False after an error that ended it.
  virtual bool InTransaction() const = 0;
  /// Whether the last writing transaction was lost with the connection, or to a conflict with another one: then the
  /// same work may succeed when it is done again.
  virtual bool WasInterrupted() const { return false; }

  /// From now on the statements of the open transaction, or of the next one with its beginning, are sent ahead: nobody
  /// waits for them until rows are read or it commits. Whatever then turns out to have failed, `TakenBack` is thrown,
  /// and so it is when a savepoint is returned to. @return false where nothing travels: statements run at once
  virtual bool BeginSendingAhead() { return false; }
  virtual bool IsSendingAhead() const { return false; }
  /// Waits for what was sent. Throws `TakenBack`.
  virtual void Await() {}
  /// Waits for what was sent, and ends it: the transaction may commit, and must go back if it was taken back.
  virtual void EndSendingAhead() noexcept {}
  /// Whether what was sent ahead last was taken back.
  virtual bool WasTakenBack() const { return false; }

  /// How often the connection has waited for its server.
  virtual std::uint64_t RoundTrips() const { return 0; }

  /// An id for a new row of `table`, in the open transaction; those of rows that are not written in the end are taken
  /// again. None: the database gives the row its id.
  virtual std::optional<std::int64_t> TakeId(const std::string& /*table*/) { return std::nullopt; }

  /// The last id that a row of `table` was given, and making another one the last; 0: there was none. The second in a
  /// writing transaction.
  virtual std::int64_t LastId(const std::string& table) = 0;
  virtual void SetLastId(const std::string& table, std::int64_t id) = 0;

  /// A point in the open transaction that `ReturnToSavepoint` goes back to. They nest; each must be released.
  virtual void SetSavepoint() = 0;
  virtual void ReleaseSavepoint() = 0;
  virtual void ReturnToSavepoint() = 0;

  /// The columns of every table.
  virtual TableColumns ReadColumns() = 0;
  /// The database is the program's, or new: from now on the driver may arrange its storage. Throws `Error`.
  virtual void Accept() {}
};

struct DriverOptions {
  std::string database = {};  ///< connection URI of a PostgreSQL database; empty: SQLite in the data folder
  std::chrono::milliseconds busy_timeout{10'000};
  Durability durability = Durability::Power;
};

class WriterLock;

/// The data folder of a host on this machine.
struct Place {
  std::filesystem::path folder;
  WriterLock& lock;
};

/// Opens connections to the database of the host whose data folder is `place`, which outlives them.
using ConnectionFactory = std::function<std::unique_ptr<Connection>(const Place& place, const DriverOptions& options)>;

}  // namespace qv::db
