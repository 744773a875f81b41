#include "attempt.h"

#include "../db/database.h"
#include "dbglog.h"

namespace qv::record {

void LogFailure(std::string_view operation, std::string_view kind, int id, const db::Error& error) {
  QVPrintf(LOG_TYPE_DIAGNOSTIC, "DATABASE", "ERR", __FILE__, __LINE__, "Attempt", "Failed to %.*s %.*s [%d]: %s\n",
           static_cast<int>(operation.size()), operation.data(), static_cast<int>(kind.size()), kind.data(), id,
           error.what());
  db::CountFailure();
}

}  // namespace qv::record
