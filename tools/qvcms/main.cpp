/// The host on the command line: hands a slave's documents to the library and shows what the host holds.

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <clocale>
#include <cstring>
#include <exception>
#include <string_view>

#include "commands.h"
#include "exitcodes.h"
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

/// Overwrites the URI of a database in the list of processes: it may hold a password.
void HideDatabase(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    const std::size_t name = argument.find('=');
    if (!argument.starts_with("--") || !argument.substr(0, name).ends_with("database")) continue;
    const bool is_next = name == std::string_view::npos;
    if (is_next && i + 1 == argc) continue;
    char* const value = is_next ? argv[i + 1] : argv[i] + name + 1;
    std::memset(value, 'x', std::strlen(value));
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
    HideDatabase(argc, argv);
    if (const int* status = std::get_if<int>(&parsed)) return *status;
    return RunCommand(std::get<qvcms::Options>(parsed));
  } catch (const std::exception& error) {
    qvcms::Complain(error.what());
    return qvcms::kFailed;
  }
}
