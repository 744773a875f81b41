#include "log/message.h"

#include "log/configuration.h"

namespace qv::log {

void WriteMessage(LOG_LEVEL level, const Place& place, const std::string& text) {
  static const auto& levels = *new QVEnum2StrMap<LOG_LEVEL>();  // never destroyed: exit handlers may log
  static const auto& categories = *new QVEnum2StrMap<LOG_CATEG>();
  if (!IsWanted(LOG_CATEG_DATABASE, level)) return;
  QVPrintf(LOG_TYPE_DIAGNOSTIC, categories.at(LOG_CATEG_DATABASE), levels.at(level), place.file, place.line,
           place.function, "%s\n", text.c_str());
}

}  // namespace qv::log
