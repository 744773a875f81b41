/// The host that a command works on: its log and its data folder.
#pragma once

#include <optional>
#include <string>

#include "db/database.h"
#include "options.h"
#include "temporaryfolder.h"

namespace qvcms {

/// The host's data, open from construction to destruction. One at a time.
class Host {
 public:
  /// What to do when the data folder has no database yet.
  enum class Unused {
    Make,        ///< make both
    LeaveAsItIs  ///< work on an empty database elsewhere, which goes with the host
  };
  /// Sets up the log and opens the data folder; warns of one that other users get into. Throws `qv::db::Error`, and
  /// `std::runtime_error` when the log file cannot be opened.
  Host(const GlobalOptions& options, Unused unused);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

 private:
  std::optional<TemporaryFolder> stand_in_;
};

/// Ends a command that changes something: commits, then prints `report`.
/// @return the exit status: failed when operations in between did. Throws `qv::db::Error`, and then nothing is applied;
/// `Failure` when it is but cannot be reported.
int CommitAndReport(qv::db::UnitOfWork& work, const std::string& report);

/// How many operations inside `work` failed, as the start of a sentence. Empty when none did.
std::string FailedOperations(const qv::db::UnitOfWork& work);

/// The text of `error`, and what to do about it where that is known.
std::string WithRemedy(const qv::db::Error& error);

}  // namespace qvcms
