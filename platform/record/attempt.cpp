#include "record/attempt.h"

#include "db/database.h"

namespace qv::record {

void LogFailure(const log::Place& place, std::string text, std::string_view reason) {
  log::WriteMessage(LOG_LEVEL_ERR, place, text.append(": ").append(reason));
  db::CountFailure();
}

}  // namespace qv::record
