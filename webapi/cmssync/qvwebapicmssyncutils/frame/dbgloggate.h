/// Decides which diagnostic messages are written, and names their levels and categories.
#pragma once

#include "dbglog.h"

/// Whether a message of this level is written under the package's current log configuration. Without a configuration,
/// and for a process that the configuration's process filter does not name, levels 0 to 3 are written. Thread-safe;
/// never fails.
bool DbgLogLevelEnabled(int level);

/// The logging library's name of a value, "unknown" if it has none. The text is valid until the process exits.
template <class E>
const char* Enum2String(E value);
template <>
const char* Enum2String<LOG_CATEG>(LOG_CATEG value);
template <>
const char* Enum2String<LOG_LEVEL>(LOG_LEVEL value);
