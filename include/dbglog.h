/// The logging library: the shared configuration of the diagnostic log, the names of categories and levels, and the
/// printf-style print function. The caller checks the configuration before it builds a message. The library writes
/// every message that it is given.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <map>

/// Severity: the smaller, the more severe.
enum LOG_LEVEL : std::int32_t {
  LOG_LEVEL_FATAL = 0,
  LOG_LEVEL_ERR = 1,  ///< a load, save, delete or command that did not succeed
  LOG_LEVEL_WARN = 2,
  LOG_LEVEL_NOTICE = 3,  ///< removal of devices; the last level that passes without a configuration
  LOG_LEVEL_INFO = 4,    ///< one device added, updated, removed
  LOG_LEVEL_CHANGE = 5,  ///< a change applied or skipped
  LOG_LEVEL_DEBUG = 6,
  LOG_LEVEL_DUMP = 7,  ///< settings before and after a change
};

enum LOG_CATEG : std::int32_t {
  LOG_CATEG_DATABASE = 3,
  LOG_CATEG_CMS_SYNC = 14,  ///< synchronisation of recording servers
};

inline constexpr int kLogCategoryCount = 32;
inline constexpr int kLogMaxFilteredPids = 64;

/// Where a message goes. Only the diagnostic log exists here.
enum LOG_TYPE : std::int32_t { LOG_TYPE_DIAGNOSTIC = 0 };

/// The configuration that the whole package shares. Replaced as a whole when it is loaded again, never changed in
/// place: read `g_pDbgLogCfg` afresh for every message.
struct DbgLogCfg {
  std::int32_t threshold[kLogCategoryCount];  ///< per category: the least severe level that is written
  std::int32_t pidCount;                      ///< entries of `pids` in use; 0: no process filter
  std::int32_t pids[kLogMaxFilteredPids];     ///< the processes that the thresholds apply to
};

/// Null until a configuration has been loaded.
extern const DbgLogCfg* volatile g_pDbgLogCfg;

/// The calling process's id as the log gate cached it; 0: not read yet.
extern std::int32_t g_DbgLogPid;

/// Loads the configuration if there is one: the settings given to `qv::log::Configure`, else the environment
/// variables `QV_LOG_LEVEL` (threshold of every category) and `QV_LOG_PIDS` (process ids joined by ","). With
/// neither, `g_pDbgLogCfg` stays null.
void ReinitDbgLogCfg();

/// Names of the values of an enumeration, filled by its constructor.
template <class E>
class QVEnum2StrMap : public std::map<E, const char*> {
 public:
  QVEnum2StrMap();
};
template <>
QVEnum2StrMap<LOG_CATEG>::QVEnum2StrMap();
template <>
QVEnum2StrMap<LOG_LEVEL>::QVEnum2StrMap();

/// Writes one message. `categName` and `levelName` may be null. Control characters in the text are escaped, so a
/// message is always one line. @return the number of characters written, negative on failure
int QVVPrintf(LOG_TYPE type, const char* categName, const char* levelName, const char* file, int line, const char* func,
              const char* fmt, std::va_list args) __attribute__((format(printf, 7, 0)));

/// The variadic front of `QVVPrintf`.
__attribute__((format(printf, 7, 8))) inline int QVPrintf(LOG_TYPE type, const char* categName, const char* levelName,
                                                          const char* file, int line, const char* func, const char* fmt,
                                                          ...) {
  std::va_list args;
  va_start(args, fmt);
  const int written = QVVPrintf(type, categName, levelName, file, line, func, fmt, args);
  va_end(args);
  return written;
}
