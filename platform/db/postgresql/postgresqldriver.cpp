#include "db/postgresql/postgresqldriver.h"

#include <chrono>
#include <thread>

#include "db/postgresql/columnsquery.h"
#include "db/postgresql/commitmark.h"
#include "db/postgresql/idpool.h"
#include "db/postgresql/notificationbell.h"
#include "db/postgresql/pipeline.h"
#include "db/postgresql/results.h"
#include "db/postgresql/statement.h"
#include "db/statementtext.h"
#include "db/writerlock.h"

namespace qv::db {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kOldestVersion = 130000;           ///< the first with pg_current_xact_id_if_assigned
constexpr std::chrono::milliseconds kPause{50};  ///< between two attempts to reach a server
constexpr const char* kLockNotAvailable = "55P03";

std::string Settings(const DriverOptions& options) {
  return "SET standard_conforming_strings = on; SET lock_timeout = " + std::to_string(options.busy_timeout.count()) +
         "; SET synchronous_commit = " + (options.durability == Durability::Power ? "on" : "off");
}

class PostgresqlConnection final : public Connection, public Executor {
 public:
  explicit PostgresqlConnection(const DriverOptions& options)
      : url_(options.database), pipeline_(url_, Settings(options)), busy_timeout_(options.busy_timeout) {
    CheckServer();
  }

  Dialect dialect() const override { return Dialect::Postgresql; }
  std::string Name() const override {
    const std::string host = PQhost(pipeline_.get());
    return "the database " + std::string(PQdb(pipeline_.get())) + " on " + (host.empty() ? "this machine" : host);
  }

  std::unique_ptr<Statement> Prepare(const std::string& sql) override {
    std::string_view rest = sql;
    if (TakeStatement(rest).empty()) {
      throw Error(Error::Kind::Statement, "a text without a statement was to be prepared");
    }
    return std::make_unique<PostgresqlStatement>(*this, "q" + std::to_string(++statements_), sql);
  }

  void Accept() override {
    TextRows found;
    RunText("SELECT to_regclass('commit_mark')", &found);
    if (found.rows.at(0).at(0)) return;
    Begin({.kind = Scope::Kind::Schema}, busy_timeout_);
    RunText(CommitMark::kMakeTable, nullptr);
    Commit();
  }

  std::int64_t RunText(const std::string& text, TextRows* rows) override {
    std::int64_t changed = 0;
    const auto take = [&](const Result& result) {
      changed = ReadWritten(result).rows;
      if (rows != nullptr && PQnfields(result.get()) > 0) *rows = ReadRows(result);
    };
    Execute([&] {
      std::string_view rest = text;
      for (std::string_view sql; !(sql = TakeStatement(rest)).empty();) pipeline_.Run(std::string(sql), take);
    });
    return changed;
  }
  void RunTextLater(const std::string& text) override {
    const auto send = [&] {
      std::string_view rest = text;
      for (std::string_view sql; !(sql = TakeStatement(rest)).empty();) pipeline_.Run(std::string(sql));
    };
    if (!SendAhead(send)) Execute(send);
  }

  void Begin(const Scope& scope, std::chrono::milliseconds limit) override {
    const bool waits = limit.count() > 0;
    bool is_turn = true;
    Pipeline::Take take;
    if (!waits) take = [&](const Result& result) { is_turn = is_turn && FirstField(result) == "t"; };
    const auto send = [&] {
      pipeline_.Run("BEGIN");
      if (scope.durability == Durability::Process) pipeline_.Run("SET LOCAL synchronous_commit = off");
      const bool one_server = scope.kind == Scope::Kind::OneServer;
      pipeline_.Run(Lock(waits, one_server || scope.kind == Scope::Kind::Group, 0), take);
      if (one_server) pipeline_.Run(Lock(waits, false, scope.server), take);
    };
    was_interrupted_ = false;
    rings_ = false;
    is_taken_back_ = false;
    const bool is_ahead = std::exchange(is_ahead_, false);
    is_begun_ = !is_ahead || !waits || pipeline_.IsLost();
    if (is_begun_) {
      ExecuteAgainIfLost(send, limit);
    } else {
      send();
    }
    is_open_ = true;
    is_ahead_ = is_ahead;
    if (is_turn) return;
    Rollback();
    throw BusyError(Name(), limit);
  }
  bool TakeTurn(int server) override {
    bool is_turn = false;
    // Ids that were taken before another had this turn would put new messages before that one's.
    Execute([&] {
      GiveBackIds(false);
      pipeline_.Run(Lock(false, false, server), [&](const Result& result) { is_turn = FirstField(result) == "t"; });
    });
    ids_.DropUnused();
    used_ids_ = ids_.blocks();
    return is_turn;
  }
  void BeginReading() override {
    ExecuteAgainIfLost([&] { pipeline_.Run("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY"); }, busy_timeout_);
    is_open_ = true;
  }
  void Commit() override {
    if (is_ahead_) CheckNotTakenBack();
    GiveBackIds(false);
    mark_.Leave(pipeline_);
    // The server answers the COMMIT of a transaction that has failed with a ROLLBACK, which is no error to it.
    bool is_committed = false;
    pipeline_.Run("COMMIT", [&](const Result& result) {
      is_committed = std::string_view(PQcmdStatus(result.get())) == "COMMIT";
    });
    if (rings_) SendNotification();
    auto failure = pipeline_.Flush();
    if (is_committed && failure) {  // of the notification
      pipeline_.Run("ROLLBACK");
      pipeline_.Flush();
      failure.reset();
    }
    if (failure && !pipeline_.IsLost()) is_ahead_ ? GiveUp(*failure) : Lose(*failure);
    is_ahead_ = false;
    ForgetIds();
    if (failure) FindOutAboutCommit(*failure);
    is_open_ = false;
    if (!failure && !is_committed) throw Error(Error::Kind::Lost, "COMMIT: the transaction had failed before");
  }
  void Rollback() noexcept override {
    if (!is_open_) return;
    is_open_ = false;
    is_ahead_ = false;
    pipeline_.Flush();  // behind a statement that fails, the server skips what was sent with it
    if (!pipeline_.IsLost()) {
      pipeline_.Run("ROLLBACK");
      GiveBackIds(true);
      pipeline_.Flush();
    }
    ForgetIds();
  }
  void RingOnCommit() override {
    rings_ = true;
    if (!is_open_) RunText(Notify(), nullptr);
  }
  std::unique_ptr<Bell> MakeBell() override { return std::make_unique<NotificationBell>(url_, Channel()); }
  void EndTurn() noexcept override {}
  bool InTransaction() const override { return is_open_; }
  bool WasInterrupted() const override { return was_interrupted_; }

  bool BeginSendingAhead() override {
    is_taken_back_ = false;
    return is_ahead_ = true;
  }
  bool IsSendingAhead() const override { return is_open_ && is_ahead_; }
  void Await() override {
    if (!is_open_ || !is_ahead_) return;
    CheckNotTakenBack();
    if (pipeline_.IsEmpty()) return;
    if (const auto failure = pipeline_.Flush()) GiveUp(*failure);
    is_begun_ = true;
    used_ids_ = ids_.blocks();
  }
  void EndSendingAhead() noexcept override {
    if (!std::exchange(is_ahead_, false) || !is_open_) return;
    if (pipeline_.Flush()) is_taken_back_ = true;
  }
  bool WasTakenBack() const override { return is_taken_back_; }
  std::uint64_t RoundTrips() const override { return pipeline_.round_trips(); }

  std::optional<std::int64_t> TakeId(const std::string& table) override {
    if (!ids_.HasSome(table)) {
      const std::int64_t amount = ids_.AmountFor(table);
      std::int64_t first = 0;
      const auto send = [&] {
        pipeline_.Run("SELECT take_ids('" + table + "'," + std::to_string(amount) + ")",
                      [&](const Result& result) { first = std::stoll(FirstField(result)); });
      };
      SendAhead(send) ? Await() : Execute(send);
      ids_.Add(table, first, amount);
      used_ids_ = ids_.blocks();
    }
    return ids_.Take(table);
  }

  std::int64_t LastId(const std::string& table) override {
    TextRows found;
    RunText("SELECT CASE WHEN is_called THEN last_value ELSE last_value - 1 END FROM " + table + "_id_seq", &found);
    return std::stoll(found.rows.at(0).at(0).value());
  }
  void SetLastId(const std::string& table, std::int64_t id) override {
    const std::string value = id == 0 ? "1,false" : std::to_string(id);
    RunText("SELECT setval('" + table + "_id_seq'," + value + ")", nullptr);
  }

  // The innermost savepoint of a name is the one that is meant, so one name serves every depth.
  void SetSavepoint() override {
    if (is_ahead_) return;
    pipeline_.Run("SAVEPOINT all_or_nothing");
    ids_at_savepoints_.push_back(ids_.blocks());
  }
  void ReleaseSavepoint() override {
    if (is_ahead_) return;
    pipeline_.Run("RELEASE SAVEPOINT all_or_nothing");
    ids_at_savepoints_.pop_back();
  }
  void ReturnToSavepoint() override {
    if (is_ahead_) {
      is_taken_back_ = true;
      return;
    }
    pipeline_.Run("ROLLBACK TO SAVEPOINT all_or_nothing");
    ids_.GoBackTo(ids_at_savepoints_.back());
    used_ids_ = ids_.blocks();
  }

  TableColumns ReadColumns() override {
    TextRows found;
    RunText(kColumnsQuery, &found);
    TableColumns tables;
    for (const auto& row : found.rows) tables[row[0].value()][row[1].value()] = row[2].value();
    return tables;
  }

 private:
  Pipeline& pipeline() override { return pipeline_; }

  void CheckServer() {
    if (PQserverVersion(pipeline_.get()) < kOldestVersion) {
      throw Error(Error::Kind::Unusable, "the server is older than version 13");
    }
    TextRows server;
    RunText(
        "SELECT current_setting('server_encoding'),"
        "(SELECT oid::integer FROM pg_namespace WHERE nspname = current_schema())",
        &server);
    const auto& row = server.rows.at(0);
    if (*row[0] != "UTF8") throw Error(Error::Kind::Unusable, "its encoding is " + *row[0] + ", not UTF8");
    if (!row[1]) throw Error(Error::Kind::Unusable, "no schema of the search path exists");
    schema_ = *row[1];
  }

  /// The two numbers of an advisory lock: the schema that the host is in, and the server; 0 stands for all servers.
  std::string Lock(bool waits, bool is_shared, int server) const {
    return std::string("SELECT pg_") + (waits ? "" : "try_") + "advisory_xact_lock" + (is_shared ? "_shared" : "") +
           "(" + schema_ + "," + std::to_string(server) + ")";
  }

  std::string Channel() const { return "qvcms_outbox_" + schema_; }
  std::string Notify() const { return "NOTIFY " + Channel(); }
  /// As a transaction of its own, which nobody needs on the disk: those that notify wait for one another until they are
  /// there.
  void SendNotification() {
    for (const std::string& sql :
         {std::string("BEGIN"), std::string("SET LOCAL synchronous_commit = off"), Notify(), std::string("COMMIT")}) {
      pipeline_.Run(sql);
    }
  }

  bool SendAhead(const std::function<void()>& send) override {
    if (!is_open_ || !is_ahead_) return false;
    CheckNotTakenBack();
    send();
    return true;
  }

  /// Inside a transaction a failed statement takes back itself and nothing else.
  void Execute(const std::function<void()>& send) override {
    if (!is_open_) return ExecuteAgainIfLost(send, busy_timeout_);
    if (SendAhead(send)) return Await();
    pipeline_.Run("SAVEPOINT one_statement");
    send();
    pipeline_.Run("RELEASE SAVEPOINT one_statement");
    const auto failure = pipeline_.Flush();
    if (!failure) {
      used_ids_ = ids_.blocks();
      return;
    }
    ids_.GoBackTo(used_ids_);
    if (EndsTransaction(*failure)) Lose(*failure);
    pipeline_.Run("ROLLBACK TO SAVEPOINT one_statement");
    pipeline_.Run("RELEASE SAVEPOINT one_statement");
    Throw(*failure);
  }

  /// Outside of a transaction nothing is lost with a connection: it is made again, for as long as `limit`.
  void ExecuteAgainIfLost(const std::function<void()>& send, std::chrono::milliseconds limit) {
    const Clock::time_point deadline = Clock::now() + limit;
    for (;;) {
      if (!pipeline_.IsLost() || pipeline_.Reconnect()) {
        send();
        const auto failure = pipeline_.Flush();
        if (!failure) return;
        if (!pipeline_.IsLost()) {
          pipeline_.Run("ROLLBACK");  // of what `send` may have begun
          Throw(*failure);
        }
      }
      if (Clock::now() >= deadline) throw Error(Error::Kind::Unusable, Name() + " cannot be reached");
      std::this_thread::sleep_for(kPause);
    }
  }

  /// @param all  also those that rows have got, which are not written after all
  void GiveBackIds(bool all) {
    for (const auto& [table, block] : ids_.blocks()) {
      const std::int64_t first = all ? block.first : block.next;
      if (first == block.end) continue;
      pipeline_.Run("SELECT give_back_ids('" + table + "'," + std::to_string(first) + "," +
                    std::to_string(block.end - 1) + ")");
    }
  }
  void ForgetIds() {
    ids_.Clear();
    used_ids_.clear();
    ids_at_savepoints_.clear();
  }

  /// A connection was lost between the commit and its answer: the mark of the transaction tells what became of it.
  void FindOutAboutCommit(const Failure& lost) {
    is_open_ = false;
    const Clock::time_point deadline = Clock::now() + busy_timeout_;
    do {
      if (pipeline_.Reconnect()) {
        bool is_done = false;
        mark_.Ask(pipeline_, is_done);
        if (!pipeline_.Flush()) {
          if (is_done) return;
          was_interrupted_ = true;
          throw Error(Error::Kind::Lost, "COMMIT: " + lost.reason);
        }
      }
      std::this_thread::sleep_for(kPause);
    } while (Clock::now() < deadline);
    throw Error(Error::Kind::InDoubt, "COMMIT: " + lost.reason + "; whether it was done is not known");
  }

  static bool EndsTransaction(const Failure& failure) {
    // The connection is lost, the transaction has failed or lost a savepoint, a deadlock, no resources, a row that
    // another one keeps for too long, an error of the system.
    for (const char* state_class : {"25", "3B", "40", "53", kLockNotAvailable, "57", "58", "XX"}) {
      if (failure.IsOf(state_class)) return true;
    }
    return failure.state.empty();
  }
  Error ErrorOf(const Failure& failure) const {
    if (failure.state == kLockNotAvailable) return BusyError(Name(), busy_timeout_);
    return {Error::Kind::Statement, failure.statement + ": " + failure.reason};
  }
  [[noreturn]] void Throw(const Failure& failure) const { throw ErrorOf(failure); }
  /// Something that was sent ahead has failed.
  [[noreturn]] void GiveUp(const Failure& failure) {
    Error why = ErrorOf(failure);
    if (!is_begun_ && why.kind() == Error::Kind::Busy) {
      Rollback();
    } else {
      if (EndsTransaction(failure)) Lose(failure);
      is_taken_back_ = true;
    }
    throw TakenBack(std::move(why));
  }
  void CheckNotTakenBack() const {
    if (is_taken_back_) throw TakenBack(Error(Error::Kind::Statement, "an earlier statement was refused"));
  }
  [[noreturn]] void Lose(const Failure& failure) {
    was_interrupted_ = failure.state.empty() || failure.IsOf("40");
    Rollback();
    throw Error(Error::Kind::Lost, failure.statement + ": " + failure.reason);
  }

  const std::string url_;
  Pipeline pipeline_;
  const std::chrono::milliseconds busy_timeout_;
  std::string schema_;  ///< its number
  int statements_ = 0;  ///< prepared so far
  bool is_open_ = false;
  bool was_interrupted_ = false;
  bool rings_ = false;          ///< after the commit
  bool is_ahead_ = false;       ///< statements are sent ahead
  bool is_begun_ = false;       ///< the server has answered the beginning of the transaction
  bool is_taken_back_ = false;  ///< one of them, or something with them, has failed
  IdPool ids_;
  IdPool::Blocks used_ids_;  ///< as the last statement that succeeded left them
  std::vector<IdPool::Blocks> ids_at_savepoints_;
  CommitMark mark_;
};

}  // namespace

std::unique_ptr<Connection> OpenPostgresql(const DriverOptions& options) try {
  return std::make_unique<PostgresqlConnection>(options);
} catch (const Error& error) {
  throw Error(Error::Kind::Unusable, std::string("cannot open the PostgreSQL database: ") + error.what());
}

}  // namespace qv::db
