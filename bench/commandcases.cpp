/// What one run of the command line costs as a process: memory and processor time.
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <vector>

#include "cases.h"
#include "comparison.h"
#include "documents.h"
#include "host.h"
#include "rawsqlite.h"

namespace bench {
namespace {

struct Usage {
  double peak_memory;   ///< bytes
  double milliseconds;  ///< of processor time
};

/// Runs `qvcms update` of the file on the data folder.
Usage Update(const std::filesystem::path& data, const std::filesystem::path& document) {
  malloc_trim(0);  // the memory of the process that forks counts as a peak of its child
  const pid_t child = fork();
  if (child == 0) {
    if (freopen("/dev/null", "w", stdout) != nullptr) {
      execl(QVCMS_PATH, QVCMS_PATH, "--data-dir", data.c_str(), "update", "7", document.c_str(), nullptr);
    }
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0) {
    throw std::runtime_error("qvcms update failed");
  }
  const auto milliseconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
  };
  return {static_cast<double>(usage.ru_maxrss) * 1024, milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime)};
}

/// A data folder and a document in a file.
struct Command {
  explicit Command(int cameras) : file(folder.path() / "snapshot.json") {
    const Document document = Snapshot(cameras, 0);
    size = static_cast<double>(document.text.size());
    std::ofstream(file) << document.text;
  }
  Usage Run() const { return Update(folder.path() / "data", file); }

  Folder folder;
  std::filesystem::path file;
  double size = 0;
};

/// A host on which messages wait, and whose cameras all change with each run.
class HostWithMessages {
 public:
  explicit HostWithMessages(int messages) {
    for (const int revision : {0, 1}) std::ofstream(FileOf(revision)) << Snapshot(100, revision).text;
    Run();
    RawDatabase(data_ / "qvcms.db", false)
        .Execute("WITH RECURSIVE number(i) AS (VALUES(1) UNION ALL SELECT i+1 FROM number WHERE i<" +
                 std::to_string(messages) +
                 ") INSERT INTO message (zr_id,target,command,payload,created) "
                 "SELECT i%200+1,'msgd','changed','{\"n\":'||i||'}',i FROM number");
  }
  void Run() { Update(data_, FileOf(++runs_ % 2)); }

 private:
  std::filesystem::path FileOf(int revision) const { return folder_.path() / std::to_string(revision); }

  const Folder folder_;
  const std::filesystem::path data_ = folder_.path() / "data";
  int runs_ = 0;
};

Comparison CompareWaiting() {
  const auto with_many = std::make_shared<HostWithMessages>(1'000'000);
  const auto with_one = std::make_shared<HostWithMessages>(1);
  return {.contenders = {{.name = "1,000,000 wait", .run = [with_many] { with_many->Run(); }},
                         {.name = "one waits", .run = [with_one] { with_one->Run(); }}},
          .goals = {{.yardstick = 1, .limit = 1.1}},
          .waits = true};
}

std::string Verdict(const char* format, double figure, double target) {
  char text[128];
  std::snprintf(text, sizeof text, format, figure);
  if (figure > target) throw std::runtime_error(std::string(text) + ": MISSED");
  return text;
}

std::string MeasureMemory() {
  const Command command(10'000);
  const double as_new = command.Run().peak_memory / command.size;
  const double unchanged = command.Run().peak_memory / command.size;
  return Verdict("%.1f times the document's text when all are new", as_new, 12) + ", " +
         Verdict("%.1f times when unchanged; target: 12 times", unchanged, 12);
}

std::string MeasureTime() {
  const Command command(100);
  command.Run();
  std::vector<double> times;
  for (int i = 0; i < 21; ++i) times.push_back(command.Run().milliseconds);
  std::sort(times.begin(), times.end());
  return Verdict("%.1f ms of process time; target: 30 ms", times[times.size() / 2], 30);
}

}  // namespace

void RegisterCommandCases() {
  Report("qvcms update, 10000 cameras: peak memory", MeasureMemory);
  Report("qvcms update, 100 cameras, unchanged", MeasureTime);
  Compare("qvcms update, 100 cameras, all changed, while messages wait", 60, CompareWaiting);
}

}  // namespace bench
