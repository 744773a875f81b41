/// From the ids of a slave's devices to those of their copies on the host.
#pragma once

#include <json/value.h>

#include <unordered_map>
#include <utility>

#include "record/table.h"

namespace qv::devices {

/// The ids of one slave; those of a kind are loaded when they are first asked for.
class HostIdLookup {
 public:
  explicit HostIdLookup(int zr_id) : zr_id_(zr_id) {}

  /// @return the host's id of the device of that kind; 0 when the host has none. Throws `db::Error`.
  int Find(const record::AnyTable& devices, int id_on_slave) {
    const auto [ids, is_new] = ids_.try_emplace(&devices);
    if (is_new) ids->second = devices.HostIds(zr_id_);
    const auto found = ids->second.find(id_on_slave);
    return found == ids->second.end() ? 0 : found->second;
  }

  /// Rewrites the id that `settings` holds under `key` to the host's; what is no int is no device's id.
  /// @return the host's id; 0 when there is none
  int Rewrite(Json::Value& settings, const char* key, const record::AnyTable& devices) {
    const Json::Value* id = settings.isObject() ? &std::as_const(settings)[key] : nullptr;
    if (id == nullptr || id->isNull()) return 0;
    const int host_id = id->isInt() ? Find(devices, id->asInt()) : 0;
    settings[key] = host_id;
    return host_id;
  }

 private:
  int zr_id_;
  std::unordered_map<const record::AnyTable*, std::unordered_map<int, int>> ids_;
};

}  // namespace qv::devices
