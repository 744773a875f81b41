/// The embedded database of one data folder.
///
/// Call order: `Open` once, before anything else of the platform (the first use opens the folder named by
/// `QVCMS_DATA_DIR`, else `./qvcms-data`, if nobody did); then from any thread `ThisThread()`; `Close` when every other
/// thread is done. Each thread works on a connection of its own.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "driver.h"

namespace qv::db {

class Session;

/// One step of the schema: takes the database from version `version` - 1 to `version`, in one transaction.
struct Migration {
  int version;
  void (*apply)(Session&);
};

struct Options {
  DriverOptions driver;
  ConnectionFactory factory;         ///< empty: the embedded SQLite driver
  std::span<const Migration> migrations;  ///< in order of version, starting at 1
};

/// Opens the database in `folder`, creating the folder (mode 0700) and the database as needed, and applies the
/// migrations that are missing. Throws `Error` (Unusable, Busy); nothing is open then.
void Open(const std::filesystem::path& folder, Options options);
/// Closes this thread's connection and forgets the folder. Connections of other threads close with their threads.
void Close() noexcept;
bool IsOpen();
/// The data folder. Throws `Error` when nothing is open.
const std::filesystem::path& DataFolder();

/// A statement taken from a session's cache, ready to bind; goes back reset when it leaves scope.
class Query {
 public:
  Query(Query&&) noexcept;
  ~Query();
  /// Binds the next parameter.
  Query& Bind(std::int64_t value);
  Query& Bind(int value) { return Bind(static_cast<std::int64_t>(value)); }
  Query& Bind(bool value) { return Bind(static_cast<std::int64_t>(value)); }
  Query& Bind(double value);
  Query& Bind(std::string_view text);  ///< unchanged until the query leaves scope
  Query& Bind(const char* text) { return Bind(std::string_view(text)); }
  Query& BindNull();
  /// For statements that only read: the next row, false when there is none.
  bool Next();
  /// For statements that write: runs the statement to its end under the writer lock, in the open unit of work or a
  /// transaction of its own. @return the number of rows changed
  std::int64_t Run();
  /// As `Run`, for `INSERT ... RETURNING id`. @return the id
  std::int64_t RunForId();

  const Statement& Row() const { return *statement_; }

 private:
  friend class Session;
  Query(Session& session, std::unique_ptr<Statement>* slot);
  Session* session_;
  Statement* statement_;
  // implementation adds what it needs
};

/// This thread's connection with its prepared statements.
class Session {
 public:
  /// A prepared statement for `sql`; the text is prepared once per connection. Throws `Error`.
  Query Prepare(std::string_view sql);
  /// Runs a text of several statements without parameters; all or nothing.
  void Execute(std::string_view script);
  Connection& connection();
};

Session& ThisThread();

/// Everything written until `Commit` happens at once or not at all. One at a time per thread; a second one inside is
/// a `std::logic_error`. Holds the writer lock of the data folder from construction to destruction, so that units of
/// work of several threads and processes follow one another. A statement that fails inside fails alone.
class UnitOfWork {
 public:
  UnitOfWork();   ///< Throws `Error` (Busy) when the writer lock is not free within the time limit.
  ~UnitOfWork();  ///< Rolls back and drops staged files unless committed.
  UnitOfWork(const UnitOfWork&) = delete;
  UnitOfWork& operator=(const UnitOfWork&) = delete;

  /// Commits rows, then moves staged files into place. Throws `Error`; then nothing is applied.
  void Commit();
  /// The open unit of work of this thread, or null.
  static UnitOfWork* Current();

  /// What it changed so far, in the order of first change.
  struct Count {
    std::string_view kind;
    int added = 0, updated = 0, removed = 0;
  };
  const std::vector<Count>& counts() const;
};

/// Marks a point that a failure in the middle of several statements goes back to. Inside a unit of work it is a
/// savepoint, outside it is a transaction under the writer lock.
class AllOrNothing {
 public:
  AllOrNothing();
  ~AllOrNothing();  ///< Goes back unless kept.
  AllOrNothing(const AllOrNothing&) = delete;
  AllOrNothing& operator=(const AllOrNothing&) = delete;
  void Keep();
};

/// Records that `rows` rows of `kind` were added, updated or removed, for the open unit of work if there is one.
enum class Change { Added, Updated, Removed };
void CountChange(std::string_view kind, Change change, std::int64_t rows);

/// Writes `content` to `relative` (below `folder`, a folder inside the data folder) when the open unit of work
/// commits, or at once without one. The file has mode 0600 from its first moment; folders are made as needed.
/// The path is refused (false) when it is empty, absolute, has "..", a NUL, or meets a symbolic link on its way.
bool StageFile(std::string_view folder, std::string_view relative, std::string content);
/// As `StageFile`, for removing the file or the whole folder `relative`.
bool StageRemoval(std::string_view folder, std::string_view relative);

}  // namespace qv::db
