/// The embedded driver: the database is the file `qvcms.db` in the data folder.
#pragma once

#include "../driver.h"

namespace qv::db {

/// Opens `<folder>/qvcms.db`, making it (mode 0600) when it is missing. Throws `Error` (Unusable, Busy).
std::unique_ptr<Connection> OpenSqlite(const std::filesystem::path& folder, const DriverOptions& options);

}  // namespace qv::db
