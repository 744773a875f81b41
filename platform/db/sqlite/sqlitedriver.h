/// The embedded driver: the database is the file `qvcms.db` in the data folder. One transaction at a time writes,
/// whatever its scope; it has the lock of the folder meanwhile.
#pragma once

#include "db/driver.h"

namespace qv::db {

/// Opens `<folder>/qvcms.db`, making it (mode 0600) when it is missing. Throws `Error` (Unusable, Busy).
std::unique_ptr<Connection> OpenSqlite(const Place& place, const DriverOptions& options);

}  // namespace qv::db
