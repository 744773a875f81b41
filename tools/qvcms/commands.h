/// The commands: each calls the host, prints what came of it and returns the exit status. A `qv::Refusal` leaves them
/// as it is, and `Failure` when the result cannot be printed.
#pragma once

#include "options.h"

namespace qvcms {

/// Imports everything of a newly paired slave.
int Run(const GlobalOptions& global, const PairOptions& options);

/// Applies a snapshot and prints what changed.
int Run(const GlobalOptions& global, const UpdateOptions& options);

/// Prints what `update` would change and whether it would refuse; leaves the host as it is.
int Run(const GlobalOptions& global, const PlanOptions& options);

/// Prints the rows of one kind.
int Run(const GlobalOptions& global, const ListOptions& options);

/// Applies a status report, and prints what is known of the slave then.
int Run(const GlobalOptions& global, const StatusOptions& options);

int Run(const GlobalOptions& global, const RemoveOptions& options);

/// Sets or clears a device's configuring flag and prints it.
int Run(const GlobalOptions& global, const ConfiguringOptions& options);

/// Prints messages of the outbox, one a line; takes them out, or puts back those that are set aside.
int Run(const GlobalOptions& global, const MessagesOptions& options);

/// Tells of messages that have been waiting for long.
void TellOfUndelivered(qv::Host& host);

/// Copies a host into the database that the global options name.
int Run(const GlobalOptions& global, const MigrateOptions& options);

/// Makes a token for a client of the service and prints it.
int Run(const GlobalOptions& global, const TokenMakeOptions& options);
int Run(const GlobalOptions& global, const TokenListOptions& options);
int Run(const GlobalOptions& global, const TokenRevokeOptions& options);

}  // namespace qvcms
