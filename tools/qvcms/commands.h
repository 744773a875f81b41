/// The commands. Each runs to its end and returns the exit status; what goes wrong leaves as an exception (`Failure`,
/// `qv::db::Error`), and then nothing of the command is applied, but for what `status` and `remove` did to key files
/// and for a report that cannot be written.
#pragma once

#include "options.h"

namespace qvcms {

/// Imports everything of a newly paired slave.
int Run(const GlobalOptions& global, const PairOptions& options);

/// Applies a snapshot and prints what changed. Refuses to remove most of a slave's devices unless told to.
int Run(const GlobalOptions& global, const UpdateOptions& options);

/// Prints what `update` would change and whether it would refuse; leaves the host as it is.
int Run(const GlobalOptions& global, const PlanOptions& options);

/// Prints the rows of one kind.
int Run(const GlobalOptions& global, const ListOptions& options);

/// Applies a status report to a slave that has been paired, stores what it says of the slave itself with the time, and
/// prints that.
int Run(const GlobalOptions& global, const StatusOptions& options);

int Run(const GlobalOptions& global, const RemoveOptions& options);

/// Sets or clears a device's configuring flag and prints it.
int Run(const GlobalOptions& global, const ConfiguringOptions& options);

}  // namespace qvcms
