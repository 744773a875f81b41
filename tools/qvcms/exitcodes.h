/// How the program ends.
#pragma once

#include <qv/host.h>

#include <stdexcept>
#include <string>

#include "options.h"

namespace qvcms {

enum ExitCode : int {
  kDone = 0,
  kFailed = 1,        ///< nothing applied, unless the message says so
  kChanges = 2,       ///< only from `plan --exit-code`
  kUsage = 64,        ///< wrong command line
  kBadDocument = 65,  ///< the document cannot be read or used
};

/// What went wrong in the program itself, not in the host. Ends the command with `kFailed`; `what()` goes to standard
/// error as one line.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The exit status for what the host refused.
ExitCode ExitCodeOf(qv::RefusalCode code);

/// The line for standard error: the document where it is about one, the reason, and what to do about it.
std::string Explain(const qv::Refusal& refusal, const Command& command);

}  // namespace qvcms
