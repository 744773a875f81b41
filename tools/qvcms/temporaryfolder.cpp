#include "temporaryfolder.h"

#include <signal.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>
#include <thread>

#include "exitcodes.h"

namespace qvcms {
namespace {

void RemoveAll(const std::filesystem::path& folder) noexcept {
  std::error_code error;  // nothing depends on its removal
  do {
    std::filesystem::remove_all(folder, error);
  } while (error == std::errc::directory_not_empty);  // the command has just made another file
}

/// The signals that end the program, but for those that it was started to ignore (nohup). Blocked from here on.
sigset_t BlockDeadlySignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action = {};
    if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) sigaddset(&signals, signal);
  }
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
  const sigset_t signals = BlockDeadlySignals();
  std::error_code missing;
  std::string name = (std::filesystem::temp_directory_path(missing) / "qvcms-XXXXXX").string();
  if (missing) throw Failure("cannot make a temporary folder: TMPDIR does not name a folder");
  if (mkdtemp(name.data()) == nullptr) {
    throw Failure("cannot make a temporary folder: " + std::string(std::strerror(errno)));
  }
  path_ = name;
  // A thread of its own may do what a signal handler may not.
  std::thread([signals, folder = path_] {
    int signal = 0;
    if (sigwait(&signals, &signal) != 0) return;
    RemoveAll(folder);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    static_cast<void>(raise(signal));
  }).detach();
}

TemporaryFolder::~TemporaryFolder() { RemoveAll(path_); }

}  // namespace qvcms
