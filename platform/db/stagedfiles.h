/// Files that change together with rows.
///
/// A staged file waits complete in `<data folder>/staging`; what is to happen to it, or what is to be removed, is a
/// row of `staged_file`, written in the same transaction as the change that it belongs to. Once that is committed the
/// rows are carried out in the order of their ids and deleted. A process that dies in between leaves the rows, and the
/// next one to take the writer lock carries them out. Whatever lies in `staging` without a row is dropped: only the
/// holder of the writer lock stages files, so nobody is waiting for it.
#pragma once

#include "session.h"

namespace qv::db {

/// Makes the table in a new database. Throws `Error`.
void CreateStagedFileTable(Session& session);

/// Makes what the open transaction staged survive a power cut, if commits shall. Throws `Error`.
void SyncStagedFiles(Session& session);

/// With the writer lock held and no transaction open: carries out what has been committed and drops the rest. What
/// cannot be done now is logged and stays for the next time; what can never be done is logged and given up. Throws
/// `Error` when the database cannot be read or written.
void FinishStagedFiles(Session& session);
/// The same after a commit or a rollback, whose result stands: a database error is logged.
void FinishStagedFilesQuietly(Session& session) noexcept;
/// The same on opening, where the lock is taken only when something is left to do. Throws `Error`.
void FinishStagedFilesOfOthers(Session& session);

}  // namespace qv::db
