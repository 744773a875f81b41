/// The embedded database of one data folder.
///
/// Call order: `Open` once, before anything else of the platform (the first use opens the folder named by
/// `QVCMS_DATA_DIR`, else `./qvcms-data`, if nobody did); then from any thread `ThisThread()`; `Close` when every other
/// thread is done. Each thread works on a connection of its own.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "db/driver.h"
#include "log/heldlines.h"

namespace qv::db {

class AllOrNothing;
class Session;
class Transaction;
struct Folder;
struct StatementPool;

/// The schema that a program knows.
struct Schema {
  /// The versions of the schema in order, as SQL texts of any number of statements. The first makes the tables in an
  /// empty database, each further one takes them from the version before to its own.
  std::span<const char* const> versions;
  /// The same for PostgreSQL, counted by themselves.
  std::span<const char* const> postgresql_versions = {};
  /// Compares the columns of a database of the last version with those that the program reads and writes.
  /// @return the first difference; empty: there is none
  std::string (*find_difference)(const TableColumns& found);
  /// Called when the database has been opened, for what lies outside it and must follow it; while it returns false,
  /// called again after each commit, with the lock of the data folder held. Null: nothing follows.
  bool (*on_opening)() noexcept = nullptr;
};

/// The schema of the platform's records (defined by platform/schema, which knows all of them).
const Schema& PlatformSchema();

struct Options {
  DriverOptions driver;
  ConnectionFactory factory;                 ///< empty: the driver for the database that the options name
  const Schema* schema = &PlatformSchema();  ///< must live as long as the database is open
};

/// Opens the database in `folder`, creating the folder (mode 0700) and the database as needed, and brings it to the
/// last version of the schema; makes files that a killed process left behind. Throws `Error` (Busy;
/// Unusable also for a database of another program, which is left as it is); nothing is open then. Opening a second
/// database is a `std::logic_error`.
void Open(const std::filesystem::path& folder, Options options);
/// Whether the PostgreSQL database of that URI has the tables of a host. Throws `Error` (Unusable).
bool HoldsHost(const std::string& database);
/// Closes this thread's connection and forgets the folder. Connections of other threads close with their threads.
void Close() noexcept;
bool IsOpen();
/// How durable the commits to the open database are. Throws `Error` when nothing is open.
Durability CommitDurability();
/// The data folder. Throws `Error` when nothing is open.
std::filesystem::path DataFolder();

/// A statement taken from a session's cache, ready to bind; goes back reset when it leaves scope. Let a query that
/// reads leave scope before writing: until then it holds on to the state of the database that it saw first.
class Query {
 public:
  Query(Query&&) noexcept = default;
  Query& operator=(Query&&) = delete;
  ~Query();
  /// Binds the next parameter.
  Query& Bind(std::int64_t value);
  Query& Bind(int value) { return Bind(static_cast<std::int64_t>(value)); }
  Query& Bind(bool value) { return Bind(static_cast<std::int64_t>(value)); }
  Query& Bind(double value);
  Query& Bind(std::string_view text);  ///< unchanged until the query leaves scope
  Query& Bind(const char* text) { return Bind(std::string_view(text)); }
  Query& BindNull();
  /// For statements that only read: lets it travel ahead of other work. `Next` is to follow.
  Query& Send();
  /// For statements that only read: the next row, false when there is none.
  bool Next();
  /// For statements that write: runs the statement to its end, in the open unit of work or a transaction of its own.
  /// The query is then ready to be bound anew. @return the number of rows changed
  std::int64_t Run();
  /// As `Run`, without waiting for it in a unit of work that sends its writes ahead: `take`, if it is not empty, is
  /// called when the answer comes.
  void RunLater(TakeWritten take = nullptr);
  /// As `Run`, for `INSERT ... RETURNING id`. @return the id
  std::int64_t RunForId();

  const Statement& Row() const { return *statement_; }

 private:
  friend class Session;
  Query(Session& session, StatementPool& home, std::unique_ptr<Statement> statement);
  Written RunToEnd();

  Session* session_;
  StatementPool* home_;
  std::unique_ptr<Statement> statement_;  ///< null once moved from
  int parameter_ = 0;                     ///< the last one bound
  enum class Progress { Ready, Rows, Finished } progress_ = Progress::Ready;
};

/// This thread's connection with its prepared statements.
class Session {
 public:
  struct State;  ///< known to platform/db alone

  explicit Session(std::unique_ptr<State> state);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// A prepared statement for `sql`; the text is prepared once per connection. Throws `Error`.
  Query Prepare(std::string_view sql);
  /// Runs a text of several statements without parameters; all or nothing. `rows`, when given, receives the rows of the
  /// last one that has columns. @return how many rows the last one changed. Throws `Error`.
  std::int64_t Execute(const std::string& text, TextRows* rows = nullptr);
  Connection& connection();

  /// In a unit of work that sends its writes ahead: sends a query, all of whose rows come from `table`, for whoever
  /// asks the same question, a statement with its values, later in the unit of work.
  void Foresee(const std::string& table, std::string question, Query query);
  bool ForeseesAny() const;
  /// That query, to be read by `Next`. None: it was not sent, somebody has it, or rows of its table were written since.
  std::optional<Query> TakeForeseen(const std::string& question);

  /// What this session asked of its connection so far.
  struct Statistics {
    std::uint64_t prepared = 0;
    std::uint64_t executed = 0;
    std::uint64_t round_trips = 0;  ///< to a server and back
  };
  Statistics statistics() const;

  State& state() { return *state_; }

 private:
  std::unique_ptr<State> state_;
};

/// This thread's session; opens the default folder when nothing is open. Throws `Error`.
Session& ThisThread();

enum class Change { Added, Updated, Removed };

/// Has the units of work of this thread committed together while it exists: each is still all or nothing by itself, and
/// fails by itself, but what they commit is there only once the group is committed. One sync then serves all of them.
/// A unit of work of a server whose turn others have does not wait for it, and cannot be part of the group: its
/// constructor throws `Error` (Busy), and so do those of the later ones for that server, which are to follow it.
class Group {
 public:
  /// Throws `Error` (Busy) as a unit of work does; `std::logic_error` inside a transaction.
  Group();
  ~Group();  ///< Rolls back unless committed.
  Group(const Group&) = delete;
  Group& operator=(const Group&) = delete;

  /// Commits, then does what `OnCommit` was given. Throws `Error`; then nothing of the group is applied.
  void Commit();
  /// Whether an error has ended the transaction, so that nothing of the group can be committed any more.
  bool IsLost() const;

 private:
  friend class UnitOfWork;
  void TakeTurn(int zr);

  Session& session_;
  std::unique_ptr<Transaction> transaction_;
  std::set<int> left_out_;  ///< servers; 0: the whole host
};

/// Everything written until `Commit` happens at once or not at all. One at a time per thread; a second one inside is
/// a `std::logic_error`. Units of work of several threads and processes that write the same rows follow one another,
/// from construction to destruction. A statement that fails inside fails alone.
class UnitOfWork {
 public:
  /// Throws `Error` (Busy) when its turn does not come within the time limit.
  /// @param zr          the server that the work is for; 0: none in particular
  /// @param durability  of the commit; that of the database, if it is less. A part of a group has the group's
  explicit UnitOfWork(int zr = 0, Durability durability = Durability::Power);
  ~UnitOfWork();  ///< Rolls back unless committed.
  UnitOfWork(const UnitOfWork&) = delete;
  UnitOfWork& operator=(const UnitOfWork&) = delete;

  /// Commits, then does what `OnCommit` was given. Throws `Error`; then nothing is applied.
  void Commit();
  /// Throws `Error` (Lost) if an error has ended its transaction, and `TakenBack`: what was read or written since is
  /// worth nothing.
  void CheckNotLost() const;
  /// The open unit of work of this thread, or null.
  static UnitOfWork* Current();

  /// The server that the work is for.
  int zr() const { return zr_; }
  /// What it changed so far, in the order of first change.
  struct Count {
    std::string kind;
    int added = 0, updated = 0, removed = 0;
  };
  const std::vector<Count>& counts() const;
  /// How often it waited for the database's server until the commit; 0 for a part of a group.
  std::uint64_t round_trips() const;
  /// Operations inside it that failed and were logged, for a caller that wants all or nothing. Those that follow the
  /// commit, such as files that could not be written, count too.
  int failures() const { return *failures_; }
  /// The same, for those who count failures after the unit of work is gone: in a group its files are made then.
  const std::shared_ptr<int>& failure_count() const { return failures_; }

 private:
  friend class AllOrNothing;
  friend void CountChange(std::string_view kind, Change change, std::int64_t rows);
  friend void CountFailure() noexcept;

  Session& session_;
  const int zr_;
  std::vector<Count> counts_;
  const std::shared_ptr<int> failures_ = std::make_shared<int>(0);
  std::unique_ptr<Transaction> transaction_;  ///< null: a part of a group
  std::unique_ptr<AllOrNothing> part_;        ///< of a group
};

/// The first of two attempts at a unit of work. While it exists, the units of work of this thread send their writes
/// ahead, if their database is one that statements travel to: nobody waits for them, and one that is refused is found
/// out later than it was made. The unit of work is then taken back (`TakenBack`), `MayBeDoneAgain` is true, and the
/// same work is to be done again without a `FirstAttempt`, so that each call fails by itself.
///
/// What a unit of work that sends ahead logs is held back until the attempt is over.
class FirstAttempt {
 public:
  FirstAttempt();
  ~FirstAttempt();  ///< Writes the lines that were held back, unless they were dropped.
  FirstAttempt(const FirstAttempt&) = delete;
  FirstAttempt& operator=(const FirstAttempt&) = delete;
  void DropLines();

 private:
  friend class UnitOfWork;
  static void Begin(Connection& connection);

  log::HeldLines lines_;
};

/// Marks a point that a failure in the middle of several statements goes back to. Inside a unit of work it is a
/// savepoint, outside it is a transaction.
class AllOrNothing {
 public:
  /// How long to wait for other writers.
  enum class Wait { UpToBusyTimeout, None };
  /// Throws `Error` (Busy, Lost).
  explicit AllOrNothing(Wait wait = Wait::UpToBusyTimeout);
  explicit AllOrNothing(Session& session, Wait wait = Wait::UpToBusyTimeout);
  ~AllOrNothing();  ///< Goes back unless kept.
  AllOrNothing(const AllOrNothing&) = delete;
  AllOrNothing& operator=(const AllOrNothing&) = delete;
  void Keep();  ///< Throws `Error`; the destructor goes back then.

 private:
  void GoBack() noexcept;

  Session& session_;
  std::unique_ptr<Transaction> transaction_;  ///< null: a savepoint in an open transaction
  std::vector<UnitOfWork::Count> counts_before_;
  std::size_t actions_before_ = 0;  ///< those that `OnCommit` had been given
  bool kept_ = false;
};

/// While it exists, no other thread or process works on the files of the data folder. A thread that has the turn
/// already gets it again at once.
class FolderTurn {
 public:
  /// Throws `Error` (Busy) when the turn does not come within `limit`.
  explicit FolderTurn(std::chrono::milliseconds limit);
  ~FolderTurn();
  FolderTurn(const FolderTurn&) = delete;
  FolderTurn& operator=(const FolderTurn&) = delete;

 private:
  const std::shared_ptr<Folder> folder_;
};

/// While it exists, the queries of this thread see one state of the database, that which the first of them sees.
/// Nothing is to be written meanwhile. Inside a unit of work it does nothing.
class Snapshot {
 public:
  Snapshot();  ///< Throws `Error`.
  ~Snapshot();
  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;

 private:
  Session& session_;
  bool is_open_ = false;
};

/// Records that `rows` rows of `kind` were added, updated or removed, for the open unit of work if there is one.
void CountChange(std::string_view kind, Change change, std::int64_t rows);
/// Records that an operation failed, for the open unit of work if there is one.
void CountFailure() noexcept;

/// Whether the last unit of work of this thread was taken back, or was lost with the connection to the database or to a
/// conflict with another one, so that the same work may succeed when it is done again. A group is lost as a whole:
/// then this is false for its parts.
bool MayBeDoneAgain();

/// Runs `action` once the open transaction is committed, never when it goes back; at once when none is open. For what
/// lies outside the database and must not run ahead of it. The action is called with the lock of the data folder held
/// and no transaction open. It may use the database; an exception that it throws is logged; the commit stands.
void OnCommit(std::function<void()> action);

/// As `Connection::RingOnCommit`.
void RingOnCommit();

}  // namespace qv::db
