/// How the program ends, and the exception that ends it early.
#pragma once

#include <stdexcept>
#include <string>

namespace qvcms {

enum ExitCode : int {
  kDone = 0,
  kFailed = 1,        ///< nothing applied, unless the message says so
  kChanges = 2,       ///< only from `plan --exit-code`
  kUsage = 64,        ///< wrong command line
  kBadDocument = 65,  ///< the document cannot be read or used
};

/// Ends the command: `what()` goes to standard error as one line, `code()` is the exit status.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& what) : std::runtime_error(what), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

}  // namespace qvcms
