#include "log/configuration.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>

const DbgLogCfg* volatile g_pDbgLogCfg = nullptr;
std::int32_t g_DbgLogPid = 0;

namespace qv::log {
namespace {

struct State {
  std::mutex mutex;
  std::optional<Thresholds> configured;
  /// Every record that was ever published: readers take no lock and may still read an old one.
  std::deque<DbgLogCfg> records;
};

/// Never destroyed: messages may still be logged while the process exits.
State& TheState() {
  static State* const state = new State();
  return *state;
}

void Publish(const DbgLogCfg* record) { __atomic_store_n(&g_pDbgLogCfg, record, __ATOMIC_RELEASE); }

void PublishRecord(State& state, const Thresholds& thresholds) {
  DbgLogCfg record{};
  std::fill(std::begin(record.threshold), std::end(record.threshold), thresholds.level);
  record.pidCount = static_cast<std::int32_t>(thresholds.pids.size());
  std::copy(thresholds.pids.begin(), thresholds.pids.end(), std::begin(record.pids));
  Publish(&state.records.emplace_back(record));
}

std::optional<int> ParseNumber(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return number;
}

/// The numbers of a list joined by ",". Skips what is not a number, and stops when the record is full.
std::vector<int> ParsePids(std::string_view text) {
  std::vector<int> pids;
  while (!text.empty() && pids.size() < kLogMaxFilteredPids) {
    const std::size_t comma = std::min(text.find(','), text.size());
    if (const std::optional<int> pid = ParseNumber(text.substr(0, comma))) {
      pids.push_back(*pid);
    }
    text.remove_prefix(std::min(comma + 1, text.size()));
  }
  return pids;
}

std::optional<Thresholds> ReadEnvironment() {
  const char* const level = std::getenv("QV_LOG_LEVEL");
  const char* const pids = std::getenv("QV_LOG_PIDS");
  const std::optional<int> number = level == nullptr ? std::nullopt : ParseNumber(level);
  if (!number && pids == nullptr) {
    return std::nullopt;
  }
  return Thresholds{.level = number.value_or(LOG_LEVEL_NOTICE),
                    .pids = pids == nullptr ? std::vector<int>() : ParsePids(pids)};
}

}  // namespace

void SetThresholds(std::optional<Thresholds> thresholds) {
  if (thresholds && thresholds->pids.size() > kLogMaxFilteredPids) {
    throw std::invalid_argument("the log can be limited to at most " + std::to_string(kLogMaxFilteredPids) +
                                " processes");
  }
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  state.configured = std::move(thresholds);
  if (state.configured) {
    PublishRecord(state, *state.configured);
  } else {
    Publish(nullptr);
  }
}

bool IsWanted(LOG_CATEG category, LOG_LEVEL level) {
  const DbgLogCfg* const record = __atomic_load_n(&g_pDbgLogCfg, __ATOMIC_ACQUIRE);
  if (record == nullptr) return level <= LOG_LEVEL_NOTICE;
  const auto end = std::begin(record->pids) + record->pidCount;
  const bool applies = record->pidCount == 0 || std::find(std::begin(record->pids), end, getpid()) != end;
  return level <= (applies ? record->threshold[category] : LOG_LEVEL_NOTICE);
}

}  // namespace qv::log

void ReinitDbgLogCfg() {
  qv::log::State& state = qv::log::TheState();
  const std::lock_guard lock(state.mutex);
  if (const auto thresholds = state.configured ? state.configured : qv::log::ReadEnvironment()) {
    qv::log::PublishRecord(state, *thresholds);
  }
}
