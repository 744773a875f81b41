#include "db/sqlite/sqlitedriver.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <thread>

#include "db/remedy.h"
#include "db/sqlite/filebell.h"
#include "db/sqlite/statement.h"
#include "db/writerlock.h"

namespace qv::db {
namespace {

/// Pages in the write-ahead log from which on they are worth moving to the database.
constexpr int kCheckpointPages = 1000;

/// How long a closing connection waits for the lock that allows it to tidy up. Whoever holds the lock longer has the
/// database open and tidies up later.
constexpr std::chrono::milliseconds kCloseWait{100};

/// Table, column and definition, for a reference in two rows. Joining the references to their columns would take ten
/// times as long.
constexpr const char* kColumnsQuery = R"sql(
  SELECT t.name, c.name, c.type || iif(c.pk, ' PRIMARY KEY', '') || iif(c."notnull", ' NOT NULL', '') ||
                         ifnull(' DEFAULT ' || c.dflt_value, '')
    FROM sqlite_schema t JOIN pragma_table_info(t.name) c WHERE t.type = 'table' AND t.name NOT LIKE 'sqlite\_%' ESCAPE '\'
  UNION ALL
  SELECT t.name, r."from", ' REFERENCES ' || r."table" || '(' || r."to" || ') ON DELETE ' || r.on_delete
    FROM sqlite_schema t JOIN pragma_foreign_key_list(t.name) r WHERE t.type = 'table')sql";

class SqliteConnection final : public Connection {
 public:
  SqliteConnection(SqliteDatabase database, const Place& place, const DriverOptions& options)
      : handle_{std::move(database)},
        place_(place),
        busy_timeout_(options.busy_timeout),
        durability_(options.durability) {
    sqlite3_busy_timeout(get(), static_cast<int>(options.busy_timeout.count()));
    EnforceReferences(true);
    sqlite3_db_config(get(), SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    // "text" in double quotes is a name and nothing else, as in every other database.
    sqlite3_db_config(get(), SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    sqlite3_db_config(get(), SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
    // Nothing of a transaction may reach a file before its commit: a rolled back one leaves no trace.
    Execute("PRAGMA cache_spill = OFF; PRAGMA temp_store = MEMORY; PRAGMA cell_size_check = ON");
    MakeCommitsSurvive(durability_);
    // Taking the hook also ends the checkpoints that SQLite would make on its own account, without the lock.
    sqlite3_wal_hook(get(), &SqliteConnection::Committed, this);
    journal_mode_ = JournalMode("PRAGMA journal_mode");  // reads the file, so a file of another kind is found here
  }

  /// The last to close moves the write-ahead log to the database, which takes the lock.
  ~SqliteConnection() override {
    bool tidies_up = false;
    try {
      tidies_up = is_accepted_ && place_.lock.Acquire(kCloseWait);
    } catch (const Error&) {
      // without the lock the connection closes without tidying up
    }
    sqlite3_db_config(get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, tidies_up ? 0 : 1, nullptr);
    for (PreparedSqlite& savepoint : savepoints_) savepoint.reset();
    handle_.database.reset();
    if (tidies_up) place_.lock.Release();
  }
  SqliteConnection(const SqliteConnection&) = delete;
  SqliteConnection& operator=(const SqliteConnection&) = delete;

  Dialect dialect() const override { return Dialect::Sqlite; }
  std::string Name() const override { return "the database in " + place_.folder.string(); }

  std::unique_ptr<Statement> Prepare(const std::string& sql) override {
    std::unique_ptr<SqliteStatement> statement = PrepareOne(sql.c_str(), SQLITE_PREPARE_PERSISTENT, nullptr);
    if (!statement) throw Error(Error::Kind::Statement, "a text without a statement was to be prepared");
    return statement;
  }
  std::int64_t RunText(const std::string& text, TextRows* rows) override {
    const char* rest = text.c_str();
    while (const auto statement = PrepareOne(rest, 0, &rest)) TakeRows(*statement, rows);
    return sqlite3_changes64(get());
  }

  void Begin(const Scope& scope, std::chrono::milliseconds limit) override {
    if (!place_.lock.Acquire(limit)) throw BusyError(place_.folder.string(), limit);
    ++turns_;
    try {
      if (scope.kind == Scope::Kind::Schema) EnforceReferences(false);
      MakeCommitsSurvive(std::min(scope.durability, durability_));
      Execute("BEGIN IMMEDIATE");
    } catch (const Error&) {
      EndTurn();
      throw;
    }
    handle_.begun = true;
    rings_ = false;
  }
  void BeginReading() override { Execute("BEGIN"); }
  void Commit() override {
    Execute("COMMIT");
    handle_.begun = false;
    if (rings_) FileBell::Ring(place_.folder);
  }
  void Rollback() noexcept override {
    handle_.begun = false;
    if (InTransaction()) sqlite3_exec(get(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
  void RingOnCommit() override {
    rings_ = true;
    if (!InTransaction()) FileBell::Ring(place_.folder);
  }
  std::unique_ptr<Bell> MakeBell() override { return std::make_unique<FileBell>(place_.folder); }
  void EndTurn() noexcept override {
    EnforceReferences(true);
    if (--turns_ == 0) Checkpoint();
    place_.lock.Release();
  }
  bool InTransaction() const override { return handle_.InTransaction(); }

  std::int64_t LastId(const std::string& table) override {
    TextRows found;
    RunText("SELECT seq FROM sqlite_sequence WHERE name='" + table + "'", &found);
    return found.rows.empty() ? 0 : std::stoll(found.rows[0][0].value());
  }
  void SetLastId(const std::string& table, std::int64_t id) override {
    RunText("DELETE FROM sqlite_sequence WHERE name='" + table + "'", nullptr);
    if (id == 0) return;
    RunText("INSERT INTO sqlite_sequence (name,seq) VALUES ('" + table + "'," + std::to_string(id) + ")", nullptr);
  }

  // The innermost savepoint of a name is the one that is meant, so one name serves every depth.
  void SetSavepoint() override { RunKept(0, "SAVEPOINT all_or_nothing"); }
  void ReleaseSavepoint() override { RunKept(1, "RELEASE SAVEPOINT all_or_nothing"); }
  void ReturnToSavepoint() override { RunKept(2, "ROLLBACK TO SAVEPOINT all_or_nothing"); }

  TableColumns ReadColumns() override {
    TableColumns tables;
    const auto statement = PrepareOne(kColumnsQuery, 0, nullptr);
    while (statement->Step()) {
      tables[std::string(statement->Text(0))][std::string(statement->Text(1))] += statement->Text(2);
    }
    return tables;
  }
  void Accept() override {
    is_accepted_ = true;
    if (journal_mode_ == "wal") return;
    if (!place_.lock.Acquire(busy_timeout_)) throw BusyError(place_.folder.string(), busy_timeout_);
    try {
      StartLog();
    } catch (...) {
      place_.lock.Release();
      throw;
    }
    place_.lock.Release();
  }

 private:
  static int Committed(void* self, sqlite3*, const char*, int pages) {
    static_cast<SqliteConnection*>(self)->log_pages_ = pages;
    return SQLITE_OK;
  }

  sqlite3* get() const { return handle_.database.get(); }
  void Execute(const char* sql) {
    const int code = sqlite3_exec(get(), sql, nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) handle_.Fail(code, sql);
  }
  /// Prepares the first statement of `sql`, and sets `rest`, when given, to what follows it. Null for a text that holds
  /// no statement.
  std::unique_ptr<SqliteStatement> PrepareOne(const char* sql, unsigned flags, const char** rest) {
    sqlite3_stmt* statement = nullptr;
    // With a length SQLite would copy the whole text for each statement of it.
    const int code = sqlite3_prepare_v3(get(), sql, -1, flags, &statement, rest);
    if (code != SQLITE_OK) handle_.Fail(code, sql);
    if (statement == nullptr) return nullptr;
    return std::make_unique<SqliteStatement>(handle_, PreparedSqlite(statement));
  }
  void RunKept(std::size_t which, const char* sql) {
    PreparedSqlite& kept = savepoints_.at(which);
    int code = SQLITE_OK;
    if (!kept) {
      sqlite3_stmt* statement = nullptr;
      code = sqlite3_prepare_v3(get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
      kept.reset(statement);
    }
    if (code == SQLITE_OK) code = sqlite3_step(kept.get());
    sqlite3_reset(kept.get());
    if (code != SQLITE_DONE) handle_.Fail(code, sql);
  }
  std::string JournalMode(const char* pragma) {
    const auto statement = PrepareOne(pragma, 0, nullptr);
    std::string mode = statement->Step() ? std::string(statement->Text(0)) : std::string();
    while (statement->Step()) {
    }
    return mode;
  }
  /// Changing the mode needs the file for itself; another process may just be looking at it.
  void StartLog() {
    const auto deadline = std::chrono::steady_clock::now() + busy_timeout_;
    for (;;) {
      try {
        journal_mode_ = JournalMode("PRAGMA journal_mode = WAL");
        break;
      } catch (const Error& error) {
        if (error.kind() != Error::Kind::Busy || std::chrono::steady_clock::now() >= deadline) throw;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
      }
    }
    if (journal_mode_ != "wal") throw Error(Error::Kind::Unusable, "the file system cannot keep a write-ahead log");
  }
  /// Whether the database holds rows to the references of their tables. Not to be called in a transaction.
  void EnforceReferences(bool enforced) noexcept {
    sqlite3_db_config(get(), SQLITE_DBCONFIG_ENABLE_FKEY, enforced ? 1 : 0, nullptr);
  }
  /// What the commits of the next transactions survive. Not to be called in one.
  void MakeCommitsSurvive(Durability durability) {
    if (commits_survive_ == durability) return;
    Execute(durability == Durability::Power ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL");
    commits_survive_ = durability;
  }
  /// Moves what has been committed to its final place when enough has gathered. What could not be moved stays safe
  /// where it is, so nothing is reported.
  void Checkpoint() noexcept {
    if (log_pages_ < tried_at_pages_) tried_at_pages_ = 0;  // the log started anew
    if (log_pages_ - tried_at_pages_ < kCheckpointPages) return;
    tried_at_pages_ = log_pages_;
    sqlite3_wal_checkpoint_v2(get(), nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
  }

  SqliteHandle handle_;
  bool rings_ = false;  ///< after the commit
  const Place place_;
  const std::chrono::milliseconds busy_timeout_;
  const Durability durability_;
  std::optional<Durability> commits_survive_;
  std::array<PreparedSqlite, 3> savepoints_;  ///< the statements about savepoints
  std::string journal_mode_;
  bool is_accepted_ = false;
  int turns_ = 0;  ///< those that were begun and have not ended
  int log_pages_ = 0;
  int tried_at_pages_ = 0;
};

[[noreturn]] void FailToOpen(const std::filesystem::path& path, const std::string& reason) {
  throw Error(Error::Kind::Unusable, "cannot open database " + path.string() + ": " + reason);
}

}  // namespace

std::unique_ptr<Connection> OpenSqlite(const Place& place, const DriverOptions& options) {
  const std::filesystem::path path = place.folder / "qvcms.db";
  // Made without ever opening it: closing a descriptor of its own would end the locks that other connections of this
  // process have on the file.
  if (mknod(path.c_str(), S_IFREG | S_IRUSR | S_IWUSR, 0) != 0 && errno != EEXIST) {
    FailToOpen(path, std::strerror(errno) + RemedyFor(errno));
  }
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(path.c_str(), &opened,
                                   SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
  SqliteDatabase database(opened);
  if (code != SQLITE_OK) {
    FailToOpen(path, sqlite3_errmsg(opened) + RemedyForCode(code & 0xff, sqlite3_system_errno(opened)));
  }
  if (sqlite3_db_readonly(opened, "main") != 0) FailToOpen(path, "it is read-only" + RemedyFor(EROFS));
  try {
    return std::make_unique<SqliteConnection>(std::move(database), place, options);
  } catch (const Error& error) {
    if (error.kind() != Error::Kind::Statement) throw;
    FailToOpen(path, error.what());
  }
}

}  // namespace qv::db
