/// The gate that every diagnostic message of the library passes, and the names that go with it.
#pragma once

#include "dbglog.h"

/// Whether a message of this level is written, by the package's shared configuration as it is now.
///
/// Without a configuration, and for a process that its process filter does not name, levels 0 to 3 are. Call it before
/// anything of the message is built. May be called from any thread; never fails.
bool DbgLogLevelEnabled(int level);

/// The logging library's name for a value, "unknown" when it has none. The text lives until the process exits.
template <class E>
const char* Enum2String(E value);
template <>
const char* Enum2String<LOG_CATEG>(LOG_CATEG value);
template <>
const char* Enum2String<LOG_LEVEL>(LOG_LEVEL value);
