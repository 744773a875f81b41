/// Brings the host's rows of one kind of device in line with a slave's list: lists the rows, matches each entry with a
/// row by its id on the slave, updates rows that differ, adds new ones, then removes the rows that no entry matched.
/// A policy states what is particular to a kind of device.
#pragma once

#include <json/value.h>

#include <concepts>
#include <list>
#include <optional>

#include "frame/logmessage.h"
#include "frame/rowsbyid.h"

/// For policies of kinds that need nothing after an entry. Every other policy defines `AfterEntry` itself, so that a
/// misspelt one does not compile.
struct NothingAfterEntry {
  static void AfterEntry(const auto& /*device*/, const Json::Value& /*entry*/) {}
};

// clang-format off
template <class Policy>
concept DevicePolicy =
    requires(Policy policy, typename Policy::Device device, const typename Policy::Device row, const Json::Value entry,
             const std::list<typename Policy::Device> rows) {
      // The slave's rows on the host.
      { policy.List() } -> std::same_as<std::list<typename Policy::Device>>;
      { policy.IdOnRecServer(row) } -> std::same_as<int>;
      // Whether the entry changes the row.
      { policy.IsChanged(row, entry) } -> std::same_as<bool>;
      policy.Update(device, entry);
      // Given a blank device.
      policy.Add(device, entry);
      // Called for every entry, after `Update` and `Add` if these are called.
      policy.AfterEntry(row, entry);
      // Called once, before the removal of `rows`.
      policy.LogExtra(rows);
      // Logs before and on failure as the kind does.
      { policy.Delete(row) } -> std::same_as<bool>;
      // Called after a deletion.
      { policy.SyncRelatedTables(row) } -> std::same_as<bool>;
      // The function name in the messages of the removal.
      { Policy::kRemoveFunction } -> std::convertible_to<const char*>;
    };
// clang-format on

/// Updates and adds. An entry without "id" has the id 0. Of two entries with one id, the first takes the row and the
/// second is added. A section that is neither an array nor an object has no entries.
/// @return the rows that no entry matched, in the order of the list
template <DevicePolicy Policy>
std::list<typename Policy::Device> UpdateDevices(Policy& policy, const Json::Value& section) {
  using Device = typename Policy::Device;
  RowsById<Device> rows(policy.List(), [&](const Device& device) { return policy.IdOnRecServer(device); });
  for (const Json::Value& entry : section) {
    std::optional<Device> device = rows.Take(entry["id"].asInt());
    if (!device) {
      policy.Add(device.emplace(), entry);
    } else if (policy.IsChanged(*device, entry)) {
      policy.Update(*device, entry);
    }
    policy.AfterEntry(*device, entry);
  }
  return rows.TakeRemaining();
}

/// Removes `extra` one by one. A failure is logged and does not stop the removal.
template <DevicePolicy Policy>
void RemoveExtraDevices(Policy& policy, const std::list<typename Policy::Device>& extra) {
  if (extra.empty()) return;
  policy.LogExtra(extra);
  for (const auto& device : extra) {
    if (policy.Delete(device) && !policy.SyncRelatedTables(device)) {
      CMS_LOG(1, Policy::kRemoveFunction, "Failed to sync related tables.\n");
    }
  }
}
