/// The driver for a database on a PostgreSQL server, from version 13 on. The tables are in the schema that comes first
/// in the connection's search path.
///
/// Transactions for different servers run at the same time; those for one server, and those for the whole host beside
/// any other, follow one another by advisory locks.
#pragma once

#include "db/driver.h"

namespace qv::db {

/// Connects to the database that `options.database` names. Throws `Error` (Unusable), without the URL, which may hold a
/// password.
std::unique_ptr<Connection> OpenPostgresql(const DriverOptions& options);

}  // namespace qv::db
