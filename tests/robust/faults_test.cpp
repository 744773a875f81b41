/// The database may give up at any moment, the disk be full, the folder read-only: what each export then leaves behind.

#include <sqlite3.h>

#include <csignal>

#include "calls.h"
#include "log/log.h"

namespace {

using qv::db::Error;
using support::Call;
namespace fs = std::filesystem;

/// SQLite calls this while it works, and gives up what it is doing when the result is not 0: a query fails, a statement
/// that writes takes its transaction with it.
long calls_left = 0;
int IsFault(void* /*context*/) { return --calls_left == 0 ? 1 : 0; }

int AddFault(sqlite3* database, char** /*error*/, const sqlite3_api_routines* /*routines*/) {
  sqlite3_progress_handler(database, 1, IsFault, nullptr);
  return SQLITE_OK;
}

struct State {
  support::Lines rows, files;
  bool operator==(const State&) const = default;
};

struct FaultsTest : testing::Test {
  void SetUp() override {
    SKIP_ON_POSTGRESQL("copies the file of the database");
    qv::log::SetSink([this](const qv::log::Line&) { ++log_lines_; });
    calls_left = 0;
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(AddFault));
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
    sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(AddFault));
  }

  /// Back to the host as it was paired.
  void Reset() {
    fs::remove_all(folder_);
    fs::copy(root_ / "paired", folder_, fs::copy_options::recursive);
  }
  void Open() const { qv::db::Open(folder_, support::OptionsFor(folder_)); }
  State Look() const { return {support::DumpDatabase(folder_), support::DumpFiles(folder_)}; }
  void ExpectState(const State& expected, const std::string& where) const {
    const State now = Look();
    ASSERT_TRUE(now == expected) << where << ": " << support::FirstDifference(now.rows, expected.rows);
  }

  /// Runs the call in one unit of work. @return whether it was committed
  static bool IsCommitted(const Call& call) try {
    qv::db::UnitOfWork unit;
    call.run();
    unit.Commit();
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
  int lost = 0;
  int committed = 0;
  for (const Call& call : support::Calls()) {
    bool is_reached = true;
    for (long at = 1; is_reached; at += kIsLong ? 7 : 499) {
      const std::string where = call.name + std::string(" at ") + std::to_string(at);
      Reset();
      Open();
      calls_left = at;
      log_lines_ = 0;
      const bool is_committed = IsCommitted(call);
      is_reached = calls_left <= 0;
      calls_left = 0;
      qv::db::Close();
      ASSERT_THAT(support::FindDamage(folder_), testing::IsEmpty()) << where;
      if (!is_committed) ExpectState(old_, where);
      ASSERT_TRUE(!is_reached || !is_committed || log_lines_ > 0) << where << ": nothing was said";
      if (is_reached) ++(is_committed ? committed : lost);
    }
  }
  EXPECT_GT(lost, 0);
  EXPECT_GT(committed, 0);
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
        return IsCommitted(call) ? 1 : 0;
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
