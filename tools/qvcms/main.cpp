/// The host on the command line: hands a slave's documents to the library and shows what the host holds.

#include <json/value.h>

#include <csignal>
#include <exception>

#include "commands.h"
#include "exitcodes.h"
#include "host.h"
#include "options.h"
#include "output.h"

namespace {

int RunCommand(const qvcms::Options& options) {
  return std::visit([&](const auto& command) { return qvcms::Run(options.global, command); }, options.command);
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);  // a closed pipe is an error of the write, reported as one
  try {
    const std::variant<qvcms::Options, int> parsed = qvcms::ParseOptions(argc, argv);
    if (const int* status = std::get_if<int>(&parsed)) return *status;
    return RunCommand(std::get<qvcms::Options>(parsed));
  } catch (const qvcms::Failure& failure) {
    qvcms::Complain(failure.what());
    return failure.code();
  } catch (const qv::db::Error& error) {
    qvcms::Complain(qvcms::WithRemedy(error));
    return qvcms::kFailed;
  } catch (const std::exception& error) {
    qvcms::Complain(error.what());
    return qvcms::kFailed;
  }
}
