/// What the filter rules of devices ask for.
#pragma once

#include <iterator>
#include <list>
#include <map>
#include <utility>

#include "camera.h"
#include "record/table.h"

namespace qv::devices {

/// The rows that a rule with the criteria `ids`, `ownerZrIds`, `enabled` and `hostLocalOnly` means.
template <class Rule>
record::Where SelectionOf(const Rule& rule) {
  record::Where where;
  where.In("id", rule.ids).In("owner_zr_id", rule.ownerZrIds).Is("enabled", rule.enabled);
  if (rule.hostLocalOnly && rule.hostLocalOnly.Value()) where.Is("owner_zr_id", 0);
  return where;
}

/// The server's devices by their ids on it; of several with one id, the one with the lowest host id.
template <class Device>
std::map<int, Device> DevicesOf(int zr_id, bool disabled_too, const record::Table<Device>& table) {
  record::Where where = record::Where().Is("owner_zr_id", zr_id);
  if (!disabled_too) where.Is("enabled", 1);
  std::map<int, Device> devices;
  for (Device& device : table.Select(where)) {
    const int id = device.GetIdOnRecServer();
    devices.emplace(id, std::move(device));
  }
  return devices;
}

/// Keeps `limit` elements after the first `start`; a limit of 0 keeps them all.
template <class T>
void KeepPage(std::list<T>& list, int start, int limit) {
  for (; start > 0 && !list.empty(); --start) list.pop_front();
  if (limit > 0 && list.size() > static_cast<std::size_t>(limit))
    list.erase(std::next(list.begin(), limit), list.end());
}

/// The cameras that fit the rule, in its order. @param fitting  receives their number before offset and limit
/// Throws `db::Error`.
std::list<Camera> SelectCameras(const CamFilterRule& rule, int& fitting);

}  // namespace qv::devices
