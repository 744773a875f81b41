/// The host on the command line: hands a slave's documents to the library and shows what the host holds.

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <clocale>
#include <exception>

#include "commands.h"
#include "exitcodes.h"
#include "hidepasswords.h"
#include "options.h"
#include "output.h"

namespace {

int RunCommand(const qvcms::Options& options) {
  try {
    return std::visit([&](const auto& command) { return qvcms::Run(options.global, command); }, options.command);
  } catch (const qv::Refusal& refusal) {
    qvcms::Complain(qvcms::Explain(refusal, options.command));
    return qvcms::ExitCodeOf(refusal.code());
  }
}

/// Fills the places of standard streams that the caller closed, so that no file of the host gets one of their numbers
/// and is written to as if it were the terminal. Using such a stream fails, as it should.
void HoldStandardStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (fcntl(stream, F_GETFD) != -1) continue;
    const int wrong_way = stream == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    if (open("/dev/null", wrong_way) != stream) _exit(qvcms::kFailed);
  }
}

}  // namespace

int main(int argc, char** argv) {
  HoldStandardStreams();
  static_cast<void>(std::setlocale(LC_CTYPE, "C.UTF-8"));  // for the widths of characters; without it, of bytes
  // A closed pipe is an error of the write, reported as one.
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, nullptr);
  try {
    const std::variant<qvcms::Options, int> parsed = qvcms::ParseOptions(argc, argv);
    qv::HidePasswords(argc, argv);
    if (const int* status = std::get_if<int>(&parsed)) return *status;
    return RunCommand(std::get<qvcms::Options>(parsed));
  } catch (const std::exception& error) {
    qvcms::Complain(error.what());
    return qvcms::kFailed;
  }
}
