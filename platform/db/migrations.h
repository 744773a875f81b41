/// Brings the schema of a database to the version that the program knows.
#pragma once

#include <span>

#include "database.h"

namespace qv::db {

/// Throws `Error`: Unusable for a newer schema or a migration that failed, Busy when the writer lock is not free.
void Migrate(Session& session, std::span<const Migration> migrations);

}  // namespace qv::db
