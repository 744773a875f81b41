/// The shared configuration record that the log gate reads.
#pragma once

#include <optional>
#include <vector>

#include "dbglog.h"

namespace qv::log {

/// The settings that decide whether a message is wanted.
struct Thresholds {
  int level = 3;
  std::vector<int> pids = {};
};

/// Applies `thresholds`, now and whenever `ReinitDbgLogCfg` is called. None: there is no configuration any more.
/// Thread-safe.
/// @throws std::invalid_argument if there are more process ids than the record holds; then nothing is changed
void SetThresholds(std::optional<Thresholds> thresholds);

/// Whether the record, as it is now, wants a message of this category and level. Levels 0 to 3 are wanted if there is
/// no record, and if the record's process ids do not include this process. Thread-safe.
bool IsWanted(LOG_CATEG category, LOG_LEVEL level);

}  // namespace qv::log
