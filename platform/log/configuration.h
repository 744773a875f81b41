/// The shared configuration record that the log gate reads.
#pragma once

#include <optional>
#include <vector>

#include "dbglog.h"

namespace qv::log {

/// The part of the settings that decides whether a message is wanted.
struct Thresholds {
  int level = 3;
  std::vector<int> pids = {};
};

/// Puts `thresholds` into force, and has `ReinitDbgLogCfg` load them again; none: takes the configuration away.
/// @throws std::invalid_argument for more process ids than the record holds; nothing is changed
void SetThresholds(std::optional<Thresholds> thresholds);

/// Whether a message of this category and level is wanted, by the record as it is now. Without one, and for a process
/// that its filter does not name, levels 0 to 3 are.
bool IsWanted(LOG_CATEG category, LOG_LEVEL level);

}  // namespace qv::log
