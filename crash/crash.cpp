/// Runs documents through qvcms processes that die at random, and compares what they leave with what undisturbed
/// ones left.
///
///     qv_crash QVCMS CALLS_LIBRARY EXAMPLES [--kills N] [--power full|normal] [--seed N]
///     qv_crash QVCMS CALLS_LIBRARY EXAMPLES --reader STRIDE
///
/// First every command of the list runs undisturbed, twice, and the state after each is kept. Then the list runs over
/// and over with SIGKILL, sent after a random time or in front of a random call that changes files. After each the
/// next process must start at once, the database be sound, and database and files be as before or as after the
/// command. With --power each death is a power cut: what was not synced is taken back to what was.
///
/// With --reader each command dies in front of every STRIDE-th such call, while another process has the database open.
/// A commit may then come to light only when that process is gone, so all is looked at before and after.

#include <fcntl.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "db/database.h"
#include "support/hoststate.h"
#include "syncedname.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

/// The harness itself started with this and a folder opens the host there, and nothing more.
constexpr const char* kOpen = "--open";

/// What a slave might send to harm others: names that lead elsewhere, that are taken by folders, or that are another
/// slave's. Every second one is refused.
constexpr const char* kHostileDocument = R"({"camera_info":[],"camCapList":[
  {"camVendor":"V","camModel":"M","capFileName":"0/x","camCap":1},
  {"camVendor":"V","camModel":"M","capFileName":"0/x/y","camCap":1},
  {"camVendor":"V","camModel":"M-API","capFileName":"shared/a.cap","camCap":2},
  {"camVendor":"V","camModel":"M-API","capFileName":"7","camCap":3},
  {"camVendor":"V","camModel":"M","capFileName":"0//z/./a","camCap":4},
  {"camVendor":"V","camModel":"M","capFileName":"0/../8/a","camCap":5},
  {"camVendor":"V","camModel":"M","capFileName":"0/x","camCap":6},
  {"camVendor":"V","camModel":"M","capFileName":"0/.","camCap":7}]})";

/// DOC stands for the folder of documents. Each command changes something.
constexpr const char* kCommands[] = {
    "pair 7 DOC/slave7-pair.json --model QVA-3216",
    "update 7 DOC/slave7-snapshot-1.json",
    "status 7 DOC/slave7-status.json",
    "pair 8 DOC/slave7-snapshot-1.json",
    "update 7 DOC/slave7-snapshot-2.json --allow-removals",
    "configuring camera 1 on",
    "update 8 DOC/slave7-snapshot-2.json --model QVA-3216",
    "status 8 DOC/slave7-status.json",
    "pair 9 DOC/hostile.json",
    "update 7 DOC/slave7-snapshot-1.json",
    "remove 8",
    "remove 9",
    "remove 7",
};

[[noreturn]] void Fail(const std::string& what) {
  fprintf(stderr, "crash: %s\n", what.c_str());
  exit(1);
}

struct Arguments {
  fs::path qvcms, calls_library, examples;
  int kills = 50;
  std::string power = {};  ///< empty: the machine goes on
  int reader_stride = 0;   ///< 0: no reader
  unsigned seed = 1;
};

/// Ends the process when the command line cannot be used.
Arguments ParseArguments(int argc, char** argv) {
  Arguments arguments;
  CLI::App app("Kills qvcms and compares what it leaves with what undisturbed processes left", "qv_crash");
  app.add_option("QVCMS", arguments.qvcms, "the program")->required()->check(CLI::ExistingFile);
  app.add_option("CALLS_LIBRARY", arguments.calls_library, "libqv_systemcalls.so")
      ->required()
      ->check(CLI::ExistingFile);
  app.add_option("EXAMPLES", arguments.examples, "folder of documents")->required()->check(CLI::ExistingDirectory);
  app.add_option("--kills", arguments.kills, "how many")->check(CLI::PositiveNumber)->capture_default_str();
  app.add_option("--power", arguments.power, "cut the power at each death")->check(CLI::IsMember({"full", "normal"}));
  app.add_option("--reader", arguments.reader_stride, "kill at every STRIDE-th call, beside a reader")
      ->check(CLI::PositiveNumber)
      ->type_name("STRIDE");
  app.add_option("--seed", arguments.seed, "of the random numbers")->capture_default_str();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    exit(app.exit(error));
  }
  return arguments;
}

struct State {
  std::vector<std::string> rows;
  std::vector<std::string> files;
  bool operator==(const State&) const = default;
};

struct Figures {
  int runs = 0, timed = 0, at_calls = 0, old_states = 0, new_states = 0, lost_commits = 0, late_commits = 0;
  int before_files = 0;  ///< committed, files still to be made
};

class Harness {
 public:
  explicit Harness(Arguments arguments) : arguments_(std::move(arguments)), random_(arguments_.seed) {
    std::string pattern = (fs::temp_directory_path() / "qvcrash-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) Fail("no temporary folder");
    root_ = pattern;
    fs::create_directory(root_ / "synced");
    std::ofstream(root_ / "hostile.json") << kHostileDocument;
  }
  ~Harness() { fs::remove_all(root_); }
  Harness(const Harness&) = delete;
  Harness& operator=(const Harness&) = delete;

  void Run() {
    Learn();
    if (arguments_.reader_stride > 0) {
      for (std::size_t i = 0; i < std::size(kCommands); ++i) RunBesideReader(i);
      printf(
          "crash beside a reader: %d kills; %d left the old state, %d the new one; %d of these came to light when the "
          "reader was gone\n",
          figures_.at_calls, figures_.old_states, figures_.new_states, figures_.late_commits);
      return;
    }
    while (Kills() < arguments_.kills) RunList();
    printf("crash%s: %d kills in %d runs (%d after a time, %d in front of a call), %zu commands\n",
           arguments_.power.empty() ? "" : (" with power cuts, synchronous=" + arguments_.power).c_str(), Kills(),
           figures_.runs, figures_.timed, figures_.at_calls, std::size(kCommands));
    printf("crash: %d left the old state, %d the new one, %d of these without its files; %d commits lost\n",
           figures_.old_states, figures_.new_states, figures_.before_files, figures_.lost_commits);
    if (figures_.old_states == 0 || figures_.new_states == 0) Fail("the kills came too early or too late to tell");
  }

 private:
  /// Starts "qvcms ARGUMENTS" on `folder`; `at` is the call that it dies in front of, 0: none.
  pid_t Start(const fs::path& folder, const std::string& command, long at) const {
    std::vector<std::string> words = {arguments_.qvcms.string(), "--data-dir", folder.string(), "--synchronous",
                                      arguments_.power == "normal" || arguments_.power.empty() ? "normal" : "full"};
    std::istringstream text(command);
    for (std::string word; text >> word;) {
      if (word.starts_with("DOC/")) word = (Documents(word) / word.substr(4)).string();
      words.push_back(word);
    }
    return StartProgram(std::move(words), at);
  }

  pid_t StartProgram(std::vector<std::string> words, long at) const {
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const pid_t child = fork();
    if (child != 0) return child;
    setenv("LD_PRELOAD", arguments_.calls_library.c_str(), 1);
    setenv("QV_CRASH_AT", std::to_string(at).c_str(), 1);
    setenv("QV_CRASH_COUNT", (root_ / "count").c_str(), 1);
    if (!arguments_.power.empty()) setenv("QV_CRASH_SYNCED", (root_ / "synced").c_str(), 1);
    const int out = open((root_ / "out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(out, STDOUT_FILENO);
    dup2(out, STDERR_FILENO);
    execv(pointers[0], pointers.data());
    _exit(127);
  }

  static bool IsHostile(const std::string& command) { return command.ends_with("hostile.json"); }
  fs::path Documents(const std::string& command) const { return IsHostile(command) ? root_ : arguments_.examples; }

  /// @return whether the process was killed; any other end than by itself as expected is a failure
  bool WasKilled(pid_t child, const std::string& command) const {
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) return true;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
      Fail(command + ": status " + std::to_string(status) + "\n" + support::ReadWholeFile(root_ / "out"));
    }
    return false;
  }

  void RunUndisturbed(const fs::path& folder, const std::string& command) const {
    if (WasKilled(Start(folder, command, 0), command)) Fail(command + ": killed by somebody else");
  }

  /// Opens the host in a process of its own, as any command does: makes an empty one, or mends what is there.
  void OpenHost(const fs::path& folder) const {
    if (WasKilled(StartProgram({"/proc/self/exe", kOpen, folder.string()}, 0), kOpen)) Fail("killed by somebody else");
  }

  State Look(const fs::path& folder) const {
    return {.rows = support::DumpDatabase(folder), .files = support::DumpFiles(folder)};
  }

  /// The states after each command, the number of calls and the time that it takes.
  void Learn() {
    for (const char* folder : {"first", "second"}) {
      std::vector<State> states;
      OpenHost(root_ / folder);
      states.push_back(Look(root_ / folder));
      fs::copy(root_ / folder, root_ / "after0", fs::copy_options::recursive | fs::copy_options::overwrite_existing);
      calls_.assign(1, 0);
      for (const char* command : kCommands) {
        const Clock::time_point begin = Clock::now();
        RunUndisturbed(root_ / folder, command);
        times_.push_back(std::chrono::duration_cast<microseconds>(Clock::now() - begin));
        calls_.push_back(atol(support::ReadWholeFile(root_ / "count").c_str()));
        states.push_back(Look(root_ / folder));
        fs::copy(root_ / folder, root_ / ("after" + std::to_string(states.size() - 1)),
                 fs::copy_options::recursive | fs::copy_options::overwrite_existing);
        if (states.back() == states[states.size() - 2]) Fail(std::string(command) + ": changes nothing");
      }
      if (!states_.empty() && states != states_) Fail("two undisturbed runs differ");
      states_ = std::move(states);
    }
  }

  void RunList() {
    const fs::path folder = root_ / "data";
    fs::remove_all(folder);
    OpenHost(folder);
    for (std::size_t i = 0; i < std::size(kCommands);) {
      const bool killed = RunToDeath(folder, i);
      if (!arguments_.power.empty()) CutPower(folder);
      i = Check(folder, i, killed);
      if (Kills() >= arguments_.kills) return;
    }
  }

  bool RunToDeath(const fs::path& folder, std::size_t i) {
    ++figures_.runs;
    // Half of the deaths after a time, half in front of a call; a few runs reach their end.
    if (random_() % 2 == 0) {
      const pid_t child = Start(folder, kCommands[i], 0);
      const auto longest = static_cast<unsigned>(times_[i].count() * 11 / 10 + 1);
      std::this_thread::sleep_for(microseconds(random_() % longest));
      kill(child, SIGKILL);
      const bool killed = WasKilled(child, kCommands[i]);
      if (killed) ++figures_.timed;
      return killed;
    }
    const long at = 1 + static_cast<long>(random_() % static_cast<unsigned long>(calls_[i + 1] * 5 / 4 + 1));
    const bool killed = WasKilled(Start(folder, kCommands[i], at), kCommands[i]);
    if (killed) ++figures_.at_calls;
    return killed;
  }

  /// What was never synced is as if never written.
  void CutPower(const fs::path& folder) const {
    fs::remove(folder / "qvcms.db-shm");
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      const fs::path name = entry.path().filename();
      if (!entry.is_regular_file() || name == "writer.lock" || name == "device-cache.shm") continue;
      const int file = open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
      const std::string name_of_copy = SyncedName(file);
      close(file);
      if (name_of_copy.empty()) Fail("cannot look at " + entry.path().string());
      const fs::path synced = root_ / "synced" / name_of_copy;
      const std::string content = fs::exists(synced) ? support::ReadWholeFile(synced) : "";
      std::ofstream(entry.path(), std::ios::binary | std::ios::trunc) << content;
    }
  }

  void CountIfFilesAreMissing(const fs::path& folder) {
    const fs::path copy = root_ / "copy";
    fs::remove_all(copy);
    fs::create_directory(copy);
    for (const char* name : {"qvcms.db", "qvcms.db-wal"}) {
      if (fs::exists(folder / name)) fs::copy_file(folder / name, copy / name);
    }
    const std::string revision = support::QueryFolder(copy, "SELECT revision FROM capability_revision").front();
    if (!support::ReadWholeFile(folder / "capability.stamp").starts_with(revision)) ++figures_.before_files;
  }

  /// Starts a process that has the database open until it is killed.
  static pid_t StartReader(const fs::path& folder) {
    int ready[2] = {};
    if (pipe(ready) != 0) Fail("no pipe");
    const pid_t child = fork();
    if (child == 0) {
      sqlite3* database = nullptr;
      const bool reads = sqlite3_open((folder / "qvcms.db").c_str(), &database) == SQLITE_OK &&
                         sqlite3_exec(database, "SELECT * FROM camera", nullptr, nullptr, nullptr) == SQLITE_OK;
      if (!reads || write(ready[1], "r", 1) != 1) _exit(1);
      pause();
    }
    char byte = 0;
    if (read(ready[0], &byte, 1) != 1) Fail("the reader cannot read");
    close(ready[0]);
    close(ready[1]);
    return child;
  }

  /// @return whether the state is the one after the command; neither that nor the one before is a failure
  bool IsDone(const fs::path& folder, std::size_t i, const std::string& where) const {
    if (const auto damage = support::FindDamage(folder); !damage.empty()) Fail(where + damage.front());
    const State state = Look(folder);
    if (state == states_[i + 1]) return true;
    if (!(state == states_[i])) FailBetween(where, state, i);
    return false;
  }

  /// Kills the command in front of every call, while a reader has the database open.
  void RunBesideReader(std::size_t i) {
    const fs::path folder = root_ / "data";
    for (long at = 1; at <= calls_[i + 1]; at += arguments_.reader_stride) {
      fs::remove_all(folder);
      fs::copy(root_ / ("after" + std::to_string(i)), folder, fs::copy_options::recursive);
      const std::string where = std::string(kCommands[i]) + ", killed at call " + std::to_string(at) + ", ";
      const pid_t reader = StartReader(folder);
      const bool killed = WasKilled(Start(folder, kCommands[i], at), kCommands[i]);
      figures_.at_calls += killed ? 1 : 0;  // beside a reader there may be fewer calls
      OpenHost(folder);
      const bool was_done = IsDone(folder, i, where + "beside the reader: ");
      kill(reader, SIGKILL);
      waitpid(reader, nullptr, 0);
      OpenHost(folder);
      const bool is_done = IsDone(folder, i, where + "after the reader: ");
      if (was_done && !is_done) Fail(where + "the commit was lost");
      if (is_done && !was_done) ++figures_.late_commits;
      ++(is_done ? figures_.new_states : figures_.old_states);
    }
  }

  [[noreturn]] void FailBetween(const std::string& where, const State& state, std::size_t i) const {
    Fail(where + "neither the state before nor the one after; against the one before\n  " +
         support::FirstDifference(state.rows, states_[i].rows) + "\n  " +
         support::FirstDifference(state.files, states_[i].files) + "\n against the one after\n  " +
         support::FirstDifference(state.rows, states_[i + 1].rows) + "\n  " +
         support::FirstDifference(state.files, states_[i + 1].files));
  }

  /// @return the command to run next
  std::size_t Check(const fs::path& folder, std::size_t i, bool killed) {
    const std::string where = std::string(kCommands[i]) + " (seed " + std::to_string(arguments_.seed) + ", run " +
                              std::to_string(figures_.runs) + "): ";
    if (killed && arguments_.power.empty()) CountIfFilesAreMissing(folder);
    const Clock::time_point begin = Clock::now();
    OpenHost(folder);
    if (Clock::now() - begin > std::chrono::seconds(5)) Fail(where + "something holds the next process up");
    if (const auto damage = support::FindDamage(folder); !damage.empty()) Fail(where + damage.front());

    const State state = Look(folder);
    const bool files_count = arguments_.power != "normal";  // there, files are synced by nobody
    const auto is = [&](const State& other) {
      return state.rows == other.rows && (!files_count || state.files == other.files);
    };
    if (is(states_[i + 1])) {
      ++figures_.new_states;
      return i + 1;
    }
    const bool may_be_old = killed || arguments_.power == "normal";
    if (may_be_old && is(states_[i])) {
      ++figures_.old_states;
      if (!killed) ++figures_.lost_commits;
      return i;
    }
    for (std::size_t earlier = i; arguments_.power == "normal" && earlier-- > 0;) {
      if (!is(states_[earlier])) continue;
      figures_.lost_commits += static_cast<int>(i - earlier) + (killed ? 0 : 1);
      return earlier;
    }
    FailBetween(where + (killed ? "killed, " : "done, "), state, i);
  }

  int Kills() const { return figures_.timed + figures_.at_calls; }

  Arguments arguments_;
  std::mt19937 random_;
  fs::path root_;
  std::vector<State> states_;  ///< before the first command, and after each
  std::vector<long> calls_;
  std::vector<microseconds> times_;
  Figures figures_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::string(argv[1]) == kOpen) {
    qv::db::Open(argv[2], {});
    qv::db::Close();
    return 0;
  }
  Harness(ParseArguments(argc, argv)).Run();
  return 0;
}
