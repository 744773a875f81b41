/// Every call of the database may fail: what each export then leaves behind.

#include <csignal>

#include "calls.h"
#include "db/sqlite/sqlitedriver.h"
#include "log/log.h"
#include "support/wrappeddriver.h"

namespace {

using qv::db::Error;
using support::Call;
namespace fs = std::filesystem;

/// Which call of the database fails, and how.
struct Fault {
  Error::Kind kind = Error::Kind::Statement;
  bool lasts = false;
  long at = 0;  ///< 0: none
  long calls = 0;
  bool is_committed = false;       ///< a transaction has been committed
  bool came_after_commit = false;  ///< the first failure did not come before that

  void Count(qv::db::Connection& connection) {
    ++calls;
    if (calls == at) came_after_commit = is_committed;
    if (at == 0 || calls < at || (calls > at && !lasts)) return;
    if (kind == Error::Kind::Lost) connection.Rollback();
    throw Error(kind, "a planted fault");
  }
};
Fault fault;

struct FaultyStatement : support::WrappedStatement {
  FaultyStatement(std::unique_ptr<qv::db::Statement> inner, qv::db::Connection& used)
      : WrappedStatement(std::move(inner)), connection(used) {}
  bool Next() override {
    fault.Count(connection);
    return WrappedStatement::Next();
  }
  qv::db::Written Run() override {
    fault.Count(connection);
    return WrappedStatement::Run();
  }
  qv::db::Connection& connection;
};

struct FaultyConnection : support::WrappedConnection {
  using WrappedConnection::WrappedConnection;
  std::unique_ptr<qv::db::Statement> Prepare(const std::string& sql) override {
    fault.Count(*this);
    return std::make_unique<FaultyStatement>(WrappedConnection::Prepare(sql), *this);
  }
  std::int64_t RunText(const std::string& text, qv::db::TextRows* rows) override {
    fault.Count(*this);
    return WrappedConnection::RunText(text, rows);
  }
  void Begin(const qv::db::Scope& scope, std::chrono::milliseconds limit) override {
    fault.Count(*this);
    WrappedConnection::Begin(scope, limit);
  }
  void SetSavepoint() override {
    fault.Count(*this);
    WrappedConnection::SetSavepoint();
  }
  void ReleaseSavepoint() override {
    fault.Count(*this);
    WrappedConnection::ReleaseSavepoint();
  }
  void Commit() override {
    fault.Count(*this);
    WrappedConnection::Commit();
    fault.is_committed = true;
  }
};

struct State {
  support::Lines rows, files;
  bool operator==(const State&) const = default;
};

struct FaultsTest : testing::Test {
  void SetUp() override {
    SKIP_ON_POSTGRESQL("copies the file of the database, and plants faults in its driver");
    qv::log::SetSink([this](const qv::log::Line&) { ++log_lines_; });
    fault = {};
    Open();
    support::Prepare();
    qv::db::Close();
    fs::rename(folder_, root_ / "paired");
    Reset();
    old_ = Look();
  }
  ~FaultsTest() override {
    qv::db::Close();
    qv::log::Reset();
  }

  /// Back to the host as it was paired.
  void Reset() {
    fs::remove_all(folder_);
    fs::copy(root_ / "paired", folder_, fs::copy_options::recursive);
  }
  void Open() const {
    qv::db::Options options;
    options.driver.durability = qv::db::Durability::Process;
    options.factory = [](const qv::db::Place& place, const qv::db::DriverOptions& driver) {
      return std::make_unique<FaultyConnection>(qv::db::OpenSqlite(place, driver));
    };
    qv::db::Open(folder_, options);
  }
  State Look() const { return {support::DumpDatabase(folder_), support::DumpFiles(folder_)}; }
  void ExpectState(const State& expected, const std::string& where) const {
    const State now = Look();
    ASSERT_TRUE(now == expected) << where << ": " << support::FirstDifference(now.rows, expected.rows);
  }

  /// Runs the call, in one unit of work if asked. @return whether it was committed, or ran without a unit of work
  static bool RunCall(const Call& call, bool in_unit) try {
    const auto unit = in_unit ? std::make_unique<qv::db::UnitOfWork>() : nullptr;
    call.run();
    if (unit) unit->Commit();
    return true;
  } catch (const Error&) {
    return false;
  }

  support::ScratchFolder scratch_;
  const fs::path root_ = scratch_.path();
  const fs::path folder_ = root_ / "data";
  State old_;
  int log_lines_ = 0;
};

const bool kIsLong = std::getenv("QV_LONG_TESTS") != nullptr;

TEST_F(FaultsTest, LeaveTheOldOrTheNewState) {
  int points = 0;
  for (const Call& call : support::Calls()) {
    for (const int manner : {0, 1, 2, 3, 4, 5, 6, 7}) {
      const Error::Kind kind = manner % 2 == 0 ? Error::Kind::Statement : Error::Kind::Lost;
      const bool lasts = manner / 2 % 2 == 1;
      const bool in_unit = manner / 4 == 0;
      State done;
      bool touched = true;
      // A short run tries some calls only, never the same ones for two manners.
      const long stride = kIsLong ? 1 : 97;
      for (long at = 0; touched; at += at == 0 ? 1 + (points % stride) : stride) {
        Reset();
        Open();
        const std::string where = call.name + std::string(in_unit ? ", " : " without a unit of work, ") + "call " +
                                  std::to_string(at) + (lasts ? " and all others" : "") +
                                  (kind == Error::Kind::Lost ? " lose the transaction" : " fail");
        fault = {.kind = kind, .lasts = lasts, .at = at};
        log_lines_ = 0;
        const bool committed = RunCall(call, in_unit);
        touched = at == 0 || fault.calls >= at;
        const bool files_wait = in_unit && fault.came_after_commit;
        fault = {};
        qv::db::Close();
        if (files_wait) {
          Open();  // makes the files of the commit
          qv::db::Close();
        }
        ++points;
        ASSERT_THAT(support::FindDamage(folder_), testing::IsEmpty()) << where;
        if (at == 0) {
          ASSERT_TRUE(committed) << where;
          done = Look();
        } else if (!touched || files_wait) {
          ExpectState(done, where);
        } else if (in_unit && (!committed || kind == Error::Kind::Lost)) {
          ASSERT_FALSE(committed) << where << ": committed after its transaction was lost";
          ExpectState(old_, where);
        }
        ASSERT_TRUE(at == 0 || !touched || !committed || log_lines_ > 0) << where << ": nothing was said";
      }
    }
  }
}

TEST_F(FaultsTest, AFullDiskLeavesTheOldStateOrTheNew) {
  int refused = 0;
  for (const Call& call : support::Calls()) {
    bool has_room = false;
    for (rlim_t limit = 0; !has_room; limit += kIsLong ? 4096 : 65536 + 4096) {
      const std::string where = call.name + std::string(" at ") + std::to_string(limit);
      ASSERT_LT(limit, 100'000'000) << where;
      Reset();
      const pid_t child = support::StartChild([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit size{.rlim_cur = limit, .rlim_max = RLIM_INFINITY};
        setrlimit(RLIMIT_FSIZE, &size);
        try {
          Open();
        } catch (const Error&) {
          return 0;
        }
        return RunCall(call, true) ? 1 : 0;
      });
      has_room = support::EndOf(child) != 0;
      ASSERT_THAT(support::FindDamage(folder_), testing::IsEmpty()) << where;
      if (has_room) break;
      ExpectState(old_, where);
      ++refused;
    }
  }
  EXPECT_GT(refused, 0);
}

TEST_F(FaultsTest, AReadOnlyFolderIsRefusedWithItsName) {
  fs::permissions(root_, fs::perms(0755));
  fs::permissions(folder_, fs::perms(0555));
  fs::permissions(folder_ / "qvcms.db", fs::perms(0444));
  const pid_t child = support::StartChild([&] {
    if (getuid() == 0 && setuid(65534) != 0) return 9;  // root may write everywhere: somebody else tries
    EXPECT_THAT([&] { Open(); }, testing::ThrowsMessage<Error>(testing::HasSubstr("writable for this user")));
    return HasFailure() ? 1 : 0;
  });
  EXPECT_EQ(support::EndOf(child), 0);
  fs::permissions(folder_, fs::perms::owner_all);
}

}  // namespace
