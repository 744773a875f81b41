/// Runs documents through qvcms processes that die at random, and compares what they leave with what undisturbed
/// ones left.
///
///     qv_crash QVCMS CALLS_LIBRARY EXAMPLES [--kills N] [--power full|normal | --reader] [--seed N]
///
/// First every command of the list runs undisturbed, and the state after each is kept. Then the list runs over and over
/// with SIGKILL in front of a random call that changes files. After each the next process must start at once, the
/// database be sound, and database and files be as before or as after the command.
///
/// With --power each death is a power cut: what was not synced is taken back to what was. With --reader another process
/// has the database open at each death. A commit may then come to light only when that process is gone, so all is
/// looked at before and after.

#include <fcntl.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "db/database.h"
#include "support/hoststate.h"
#include "syncedname.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

/// The harness itself started with this and a folder opens the host there, and nothing more.
constexpr const char* kOpen = "--open";

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
    "update 7 DOC/slave7-snapshot-1.json",
    "remove 8",
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
  bool reader = false;
  unsigned seed = 1;
};

/// Ends the process when the command line cannot be used.
Arguments ParseArguments(int argc, char** argv) {
  Arguments arguments;
  CLI::App app("Kills qvcms and compares what it leaves with what undisturbed processes left", "qv_crash");
  app.add_option("QVCMS", arguments.qvcms, "the program")->required();
  app.add_option("CALLS_LIBRARY", arguments.calls_library, "libqv_systemcalls.so")->required();
  app.add_option("EXAMPLES", arguments.examples, "folder of documents")->required();
  app.add_option("--kills", arguments.kills, "how many")->check(CLI::PositiveNumber)->capture_default_str();
  auto* const power = app.add_option("--power", arguments.power, "cut the power at each death");
  power->check(CLI::IsMember({"full", "normal"}));
  app.add_flag("--reader", arguments.reader, "another process has the database open")->excludes(power);
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
};

class Harness {
 public:
  explicit Harness(Arguments arguments) : arguments_(std::move(arguments)), random_(arguments_.seed) {
    std::string pattern = (fs::temp_directory_path() / "qvcrash-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) Fail("no temporary folder");
    root_ = pattern;
    data_ = root_ / "data";
    fs::create_directory(root_ / "synced");
  }
  ~Harness() { fs::remove_all(root_); }
  Harness(const Harness&) = delete;
  Harness& operator=(const Harness&) = delete;

  void Run() {
    Learn();
    while (kills_ < arguments_.kills) RunList();
    printf("crash%s%s%s: %d kills; %d left the old state, %d the new one; %d commits lost, %d seen late\n",
           arguments_.reader ? " beside a reader" : "",
           arguments_.power.empty() ? "" : " with power cuts, synchronous=", arguments_.power.c_str(), kills_,
           old_states_, new_states_, lost_commits_, late_commits_);
    if (old_states_ == 0 || new_states_ == 0) Fail("the kills came too early or too late to tell");
  }

 private:
  /// Starts "qvcms COMMAND"; `at` is the call that it dies in front of, 0: none.
  pid_t Start(const std::string& command, long at) const {
    std::vector<std::string> words = {arguments_.qvcms.string(), "--data-dir", data_.string(), "--synchronous",
                                      arguments_.power == "full" ? "full" : "normal"};
    std::istringstream text(command);
    for (std::string word; text >> word;) {
      words.push_back(word.starts_with("DOC/") ? (arguments_.examples / word.substr(4)).string() : word);
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

  /// @return whether the process was killed; any other end than by itself as expected is a failure
  bool WasKilled(pid_t child, const std::string& command) const {
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) return true;
    if (status != 0) Fail(command + ": " + std::to_string(status) + "\n" + support::ReadWholeFile(root_ / "out"));
    return false;
  }

  /// Opens the host in a process of its own, as any command does: makes an empty one, or mends what is there.
  void OpenHost() const {
    if (WasKilled(StartProgram({"/proc/self/exe", kOpen, data_.string()}, 0), kOpen)) Fail("killed by somebody else");
  }

  State Look() const { return {.rows = support::DumpDatabase(data_), .files = support::DumpFiles(data_)}; }

  /// The states after each command, and the number of calls that it makes.
  void Learn() {
    OpenHost();
    states_.push_back(Look());
    for (const char* command : kCommands) {
      if (WasKilled(Start(command, 0), command)) Fail("killed by somebody else");
      calls_.push_back(std::stol(support::ReadWholeFile(root_ / "count")));
      states_.push_back(Look());
    }
  }

  long Random(long most) { return std::uniform_int_distribution<long>(1, most)(random_); }

  void RunList() {
    fs::remove_all(data_);
    OpenHost();
    for (std::size_t i = 0; i < std::size(kCommands) && kills_ < arguments_.kills;) {
      const pid_t reader = arguments_.reader ? StartReader() : 0;
      // A few runs reach their end.
      const bool killed = WasKilled(Start(kCommands[i], Random(calls_[i] * 5 / 4)), kCommands[i]);
      kills_ += killed ? 1 : 0;
      if (!arguments_.power.empty()) CutPower();
      std::size_t done = Check(i, killed);
      if (reader != 0) {
        kill(reader, SIGKILL);
        waitpid(reader, nullptr, 0);
        const std::size_t beside_the_reader = std::exchange(done, Check(i, killed));
        if (done < beside_the_reader) Fail(std::string(kCommands[i]) + ": the commit went with the reader");
        if (done > beside_the_reader) ++late_commits_;
      }
      ++(done > i ? new_states_ : old_states_);
      lost_commits_ += std::max(0, static_cast<int>(killed ? i : i + 1) - static_cast<int>(done));
      i = done;
    }
  }

  /// What was never synced is as if never written.
  void CutPower() const {
    fs::remove(data_ / "qvcms.db-shm");
    for (const auto& entry : fs::recursive_directory_iterator(data_)) {
      const fs::path name = entry.path().filename();
      if (!entry.is_regular_file() || name == "writer.lock" || name == "device-cache.shm") continue;
      const int file = open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
      const std::string name_of_copy = SyncedName(file);
      close(file);
      if (name_of_copy.empty()) Fail("cannot look at " + entry.path().string());
      // The file that is not there was never synced.
      const std::string content = support::ReadWholeFile(root_ / "synced" / name_of_copy);
      std::ofstream(entry.path(), std::ios::binary | std::ios::trunc) << content;
    }
  }

  /// Starts a process that has the database open until it is killed.
  pid_t StartReader() const {
    int ready[2] = {};
    if (pipe(ready) != 0) Fail("no pipe");
    const pid_t child = fork();
    if (child == 0) {
      sqlite3* database = nullptr;
      const bool reads = sqlite3_open((data_ / "qvcms.db").c_str(), &database) == SQLITE_OK &&
                         sqlite3_exec(database, "SELECT * FROM camera", nullptr, nullptr, nullptr) == SQLITE_OK;
      if (!reads || write(ready[1], "r", 1) != 1) _exit(1);
      pause();
    }
    close(ready[1]);
    char byte = 0;
    if (read(ready[0], &byte, 1) != 1) Fail("the reader cannot read");
    close(ready[0]);
    return child;
  }

  /// Opens the host after the command `i`. @return how many commands are done; any other state is a failure
  std::size_t Check(std::size_t i, bool killed) const {
    const std::string where = std::string(kCommands[i]) + (killed ? ", killed" : ", done") + " (seed " +
                              std::to_string(arguments_.seed) + ", kill " + std::to_string(kills_) + "): ";
    const Clock::time_point begin = Clock::now();
    OpenHost();
    if (Clock::now() - begin > std::chrono::seconds(5)) Fail(where + "something holds the next process up");
    if (const auto damage = support::FindDamage(data_); !damage.empty()) Fail(where + damage.front());

    const State state = Look();
    const bool is_normal = arguments_.power == "normal";  // nobody syncs files then, and commits may be lost
    const std::size_t oldest = is_normal ? 0 : killed ? i : i + 1;
    for (std::size_t done = i + 2; done-- > oldest;) {
      if (state.rows == states_[done].rows && (is_normal || state.files == states_[done].files)) return done;
    }
    Fail(where + "neither the state before nor the one after; against the one after\n  " +
         support::FirstDifference(state.rows, states_[i + 1].rows) + "\n  " +
         support::FirstDifference(state.files, states_[i + 1].files));
  }

  Arguments arguments_;
  std::mt19937 random_;
  fs::path root_;
  fs::path data_;
  std::vector<State> states_;  ///< before the first command, and after each
  std::vector<long> calls_;    ///< of each command
  int kills_ = 0, old_states_ = 0, new_states_ = 0, lost_commits_ = 0, late_commits_ = 0;
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
