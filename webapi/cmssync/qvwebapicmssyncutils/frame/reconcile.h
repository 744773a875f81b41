/// How the host's rows of one kind of device follow a slave's list: list the rows, match each entry with a row by its
/// id on the slave, update what differs, add what is new; then remove the rows that no entry matched.
///
/// What is particular to a kind of device is its policy, a class with
///
///     using Device = ...;
///     static constexpr const char* kRemoveFunction;              function name of the removal's messages
///     std::list<Device> List();                                  the slave's rows on the host
///     int IdOnRecServer(const Device&);
///     bool IsChanged(const Device&, const Json::Value& entry);
///     void Update(Device&, const Json::Value& entry);            the row differs from the entry
///     void Add(Device&, const Json::Value& entry);               a blank device
///     void LogExtra(const std::list<Device>&);                   before the removal of these
///     bool Delete(const Device&);                                logs before and when it fails, as the kind does
///     bool SyncRelatedTables(const Device&);                     after a deletion
///
/// and, where the kind does something for every entry once its row stands,
///
///     void AfterEntry(const Device&, const Json::Value& entry);
#pragma once

#include <json/value.h>

#include <list>

#include "logmessage.h"
#include "rowsbyid.h"

/// Updates and adds. An entry without "id" has the id 0; of two entries with one id, the first takes the row and the
/// second is added. A section that is no array or object has no entries.
/// @return the rows that no entry matched, in the order of the list
template <class Kind>
std::list<typename Kind::Device> UpdateDevices(Kind& kind, const Json::Value& section) {
  using Device = typename Kind::Device;
  RowsById<Device> rows(kind.List(), [&](const Device& device) { return kind.IdOnRecServer(device); });
  for (const Json::Value& entry : section) {
    std::list<Device> row = rows.Take(entry["id"].asInt());
    if (row.empty()) {
      kind.Add(row.emplace_back(), entry);
    } else if (kind.IsChanged(row.front(), entry)) {
      kind.Update(row.front(), entry);
    }
    if constexpr (requires { kind.AfterEntry(row.front(), entry); }) kind.AfterEntry(row.front(), entry);
  }
  return rows.TakeRest();
}

/// Removes `extra`, one by one; a failure stops nothing.
template <class Kind>
void RemoveExtraDevices(Kind& kind, const std::list<typename Kind::Device>& extra) {
  if (extra.empty()) return;
  kind.LogExtra(extra);
  for (const auto& device : extra) {
    if (kind.Delete(device) && !kind.SyncRelatedTables(device)) {
      CMS_LOG(1, Kind::kRemoveFunction, "Failed to sync related tables.\n");
    }
  }
}
