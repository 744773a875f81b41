/// Brings the schema of a database to the version that the program knows.
#pragma once

#include "db/database.h"

namespace qv::db {

/// Applies the versions that are missing, all of them or none, and compares the columns with those that the program
/// needs. Throws `Error`: Unusable for a database that is not the program's or of a newer version, which is left as it
/// is, and for a version that failed; Busy when other writers do not finish in time.
void BringToSchema(Session& session, const Schema& schema);

}  // namespace qv::db
