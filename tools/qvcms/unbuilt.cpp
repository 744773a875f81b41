/// Commands whose part of the library is not built yet: they say so, and fail.

#include <string>

#include "commands.h"
#include "exitcodes.h"

namespace qvcms {
namespace {

[[noreturn]] void Refuse(const std::string& command) { throw Failure(kFailed, command + ": not built yet"); }

}  // namespace

int Run(const GlobalOptions&, const RemoveOptions&) { Refuse("remove"); }

}  // namespace qvcms
