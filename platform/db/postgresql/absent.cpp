/// In place of the driver, where the program is built without libpq.
#include "db/postgresql/postgresqldriver.h"

namespace qv::db {

std::unique_ptr<Connection> OpenPostgresql(const DriverOptions& /*options*/) {
  throw Error(Error::Kind::Unusable, "this program was built without PostgreSQL (libpq)");
}

}  // namespace qv::db
