#include "dbglog.h"

template <>
QVEnum2StrMap<LOG_CATEG>::QVEnum2StrMap() {
  insert({{LOG_CATEG_DATABASE, "DATABASE"}, {LOG_CATEG_CMS_SYNC, "CMS_SYNC"}});
}

template <>
QVEnum2StrMap<LOG_LEVEL>::QVEnum2StrMap() {
  insert({{LOG_LEVEL_FATAL, "FATAL"},
          {LOG_LEVEL_ERR, "ERR"},
          {LOG_LEVEL_WARN, "WARN"},
          {LOG_LEVEL_NOTICE, "NOTICE"},
          {LOG_LEVEL_INFO, "INFO"},
          {LOG_LEVEL_CHANGE, "CHANGE"},
          {LOG_LEVEL_DEBUG, "DEBUG"},
          {LOG_LEVEL_DUMP, "DUMP"}});
}
