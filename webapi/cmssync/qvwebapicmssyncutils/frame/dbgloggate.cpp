#include "frame/dbgloggate.h"

#include <unistd.h>

#include <atomic>

namespace {

constexpr int kLastDefaultLevel = LOG_LEVEL_NOTICE;

/// Another thread may replace the configuration: its content must be visible together with its address.
const DbgLogCfg* LoadConfiguration() { return __atomic_load_n(&g_pDbgLogCfg, __ATOMIC_ACQUIRE); }

/// Reads the count from memory each time: the logging library may change it.
std::int32_t LoadPidCount(const DbgLogCfg& configuration) {
  return __atomic_load_n(&configuration.pidCount, __ATOMIC_RELAXED);
}

template <class E>
const char* FindName(const QVEnum2StrMap<E>& names, E value) {
  const auto found = names.find(value);
  return found == names.end() ? "unknown" : found->second;
}

}  // namespace

bool DbgLogLevelEnabled(int level) {
  const DbgLogCfg* configuration = LoadConfiguration();
  if (configuration == nullptr) {
    ReinitDbgLogCfg();
    configuration = LoadConfiguration();
  }
  if (configuration == nullptr) {
    return level <= kLastDefaultLevel;
  }
  const std::int32_t threshold = configuration->threshold[LOG_CATEG_CMS_SYNC];
  if (LoadPidCount(*configuration) < 1) {
    return level <= threshold;
  }
  // Threads may find it unset at the same time: they all write the same id.
  const std::atomic_ref<std::int32_t> cached_pid(g_DbgLogPid);
  if (cached_pid.load(std::memory_order_relaxed) == 0) {
    cached_pid.store(getpid(), std::memory_order_relaxed);
    if (LoadPidCount(*configuration) < 1) {
      return level <= kLastDefaultLevel;
    }
  }
  const std::int32_t pid = cached_pid.load(std::memory_order_relaxed);
  const std::int32_t count = LoadPidCount(*configuration);
  for (std::int32_t i = 0; i < count; ++i) {
    if (configuration->pids[i] == pid) {
      return level <= threshold;
    }
  }
  return level <= kLastDefaultLevel;
}

template <>
const char* Enum2String<LOG_CATEG>(LOG_CATEG value) {
  static const QVEnum2StrMap<LOG_CATEG> names;
  return FindName(names, value);
}

template <>
const char* Enum2String<LOG_LEVEL>(LOG_LEVEL value) {
  static const QVEnum2StrMap<LOG_LEVEL> names;
  return FindName(names, value);
}
