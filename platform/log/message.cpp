#include "message.h"

#include "dbglog.h"

namespace qv::log {

void WriteMessage(const char* level, const Place& place, const std::string& text) {
  QVPrintf(LOG_TYPE_DIAGNOSTIC, "DATABASE", level, place.file, place.line, place.function, "%s\n", text.c_str());
}

}  // namespace qv::log
