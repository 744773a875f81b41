/// The host that a command works on: its log and its data folder.
#pragma once

#include <filesystem>
#include <string>

#include "db/database.h"
#include "options.h"

namespace qvcms {

/// Whether there is no host in the folder yet: no folder, an empty one, or an empty database in it. Throws `Failure`
/// for a folder that holds something else and so was never a host's.
bool IsUnused(const std::filesystem::path& folder);

/// The host's data, open from construction to destruction. One at a time.
class Host {
 public:
  /// Sets up the log and opens the data folder, which is made when it is missing; warns of one that other users get
  /// into. Throws `qv::db::Error`, and `std::runtime_error` when the log file cannot be opened.
  explicit Host(const GlobalOptions& options) : Host(options, options.data_dir) {}
  /// The same with another data folder.
  Host(const GlobalOptions& options, const std::filesystem::path& folder);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
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
