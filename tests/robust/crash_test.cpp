/// Runs documents through qvcms processes that die in front of a random call that changes files, and compares what
/// they leave with what undisturbed ones left. The next process must start at once, the database be sound, and
/// database and files be as before or as after the command.

#include <csignal>
#include <random>

#include "../../crash/syncedname.h"
#include "tools/toolrunner.h"

namespace qv::test {
namespace {

namespace fs = std::filesystem;

/// Each changes something.
constexpr const char* kCommands[] = {
    "pair 7 " QV_EXAMPLES "/slave7-pair.json --model QVA-3216",
    "update 7 " QV_EXAMPLES "/slave7-snapshot-1.json",
    "status 7 " QV_EXAMPLES "/slave7-status.json",
    "pair 8 " QV_EXAMPLES "/slave7-snapshot-1.json",
    "update 7 " QV_EXAMPLES "/slave7-snapshot-2.json --allow-removals",
    "configuring camera 1 on",
    "status 8 " QV_EXAMPLES "/slave7-status.json",
    "remove 8",
    "remove 7",
};

const std::string kDeaths[] = {
    "Kill",
    "PowerCut",        // what was not synced is taken back to what was
    "PowerCutNormal",  // the same, where commits may be lost and nobody syncs files
};

struct State {
  support::Lines rows, files;
};

int NumberFrom(const char* variable, int otherwise) {
  const char* text = std::getenv(variable);
  return text == nullptr ? otherwise : std::stoi(text);
}

struct CrashTest : ToolTest, testing::WithParamInterface<std::string> {
  CrashTest() { fs::create_directory(folder_ / "synced"); }

  bool CutsPower() const { return GetParam().starts_with("PowerCut"); }
  /// Runs the command to its end, or until it dies in front of the call number `at`. @return whether it died
  bool Run(const std::string& command, long at = 0) const {
    const Result result = Shell("QV_CRASH_COUNT=count QV_CRASH_AT=" + std::to_string(at) +
                                (CutsPower() ? " QV_CRASH_SYNCED=synced" : "") +
                                " LD_PRELOAD='" QV_CALLS_LIBRARY "' '" QVCMS_PATH "' --data-dir data --synchronous " +
                                (GetParam() == "PowerCut" ? "full " : "normal ") + command);
    EXPECT_THAT(result.status, testing::AnyOf(0, 128 + SIGKILL)) << command << ": " << result.err;
    return result.status != 0;
  }
  void MakeHost() const {
    fs::remove_all(data_);
    Run("pair 9 " QV_EXAMPLES "/slave7-pair.json");
  }
  State Look() const { return {support::DumpDatabase(data_), support::DumpFiles(data_)}; }

  /// What was never synced is as if never written.
  void CutPower() const {
    fs::remove(data_ / "qvcms.db-shm");
    for (const auto& entry : fs::recursive_directory_iterator(data_)) {
      const fs::path name = entry.path().filename();
      if (!entry.is_regular_file() || name == "writer.lock" || name == "device-cache.shm") continue;
      const files::FileDescriptor file(open(entry.path().c_str(), O_RDONLY | O_CLOEXEC));
      const std::string synced = support::ReadWholeFile(folder_ / "synced" / SyncedName(file.get()));
      std::ofstream(entry.path(), std::ios::binary | std::ios::trunc) << synced;
    }
  }
  /// How many commands are done once the next process has started. The last one that ran is `i`.
  std::size_t CountDone(std::size_t i, bool killed) const {
    const auto start = std::chrono::steady_clock::now();
    Run("list server");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << "something holds it up";
    EXPECT_THAT(support::FindDamage(data_), testing::IsEmpty());
    const State state = Look();
    const bool is_normal = GetParam() == "PowerCutNormal";
    const std::size_t oldest = is_normal ? 0 : killed ? i : i + 1;
    for (std::size_t done = i + 2; done-- > oldest;) {
      if (state.rows == states_[done].rows && (is_normal || state.files == states_[done].files)) return done;
    }
    ADD_FAILURE() << kCommands[i] << (killed ? ", killed" : ", done")
                  << ": neither the state before nor the one after; against the one after\n  "
                  << support::FirstDifference(state.rows, states_[i + 1].rows) << "\n  "
                  << support::FirstDifference(state.files, states_[i + 1].files);
    return std::size(kCommands);
  }

  const fs::path data_ = folder_ / "data";
  std::vector<State> states_;  ///< before the first command, and after each
};

TEST_P(CrashTest, LeavesTheStateBeforeOrTheOneAfter) {
#ifdef QV_SANITIZED
  GTEST_SKIP() << "a sanitizer's library must be loaded before any other";
#endif
  MakeHost();
  states_.push_back(Look());
  std::vector<long> calls;
  for (const char* command : kCommands) {
    ASSERT_FALSE(Run(command)) << "killed by somebody else";
    calls.push_back(std::stol(support::ReadWholeFile(folder_ / "count")));
    states_.push_back(Look());
  }
  std::mt19937 random(static_cast<unsigned>(NumberFrom("QV_SEED", 1)));
  int old_states = 0;
  int new_states = 0;
  for (int kills_left = NumberFrom("QV_KILLS", 25); kills_left > 0 && !HasFailure();) {
    MakeHost();
    for (std::size_t i = 0; i < std::size(kCommands) && kills_left > 0;) {
      // A few runs reach their end.
      const bool killed = Run(kCommands[i], std::uniform_int_distribution<long>(1, calls[i] * 5 / 4)(random));
      kills_left -= killed ? 1 : 0;
      if (CutsPower()) CutPower();
      const std::size_t done = CountDone(i, killed);
      ++(done > i ? new_states : old_states);
      i = done;
    }
  }
  EXPECT_GT(old_states, 0);
  EXPECT_GT(new_states, 0);
  printf("crash: %d left the old state, %d the new one\n", old_states, new_states);
}

INSTANTIATE_TEST_SUITE_P(Deaths, CrashTest, testing::ValuesIn(kDeaths), [](const auto& info) { return info.param; });

}  // namespace
}  // namespace qv::test
