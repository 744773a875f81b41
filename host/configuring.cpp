/// Devices that users configure on the host.

#include <devicestatus.h>

#include <algorithm>
#include <array>

#include "changes.h"
#include "devices/tables.h"
#include "guard.h"

namespace qv {
namespace {

/// @return the server of the device; none: there is no such device
template <class Table>
std::optional<int> SetFlag(const Table& table, int id, bool on) {
  auto device = table.Find(record::Where().Is("id", id));
  if (!device) return std::nullopt;
  const int others = device->GetDeviceStatusFlags() & ~DEV_STATUS_FLAG_CONFIGURING;
  device->SetDeviceStatusFlags(on ? others | DEV_STATUS_FLAG_CONFIGURING : others);
  table.Save(*device);
  return device->GetOwnerZrId();
}

constexpr std::array<std::string_view, 2> kConfigurableKinds = {"camera", "iomodule"};

}  // namespace

std::span<const std::string_view> Host::ConfigurableKinds() { return kConfigurableKinds; }

// NOLINTNEXTLINE(readability-make-member-function-const): it changes the host
ConfiguringResult Host::SetConfiguring(std::string_view kind, int id, bool on) {
  return host::GuardedAgain([&] {
    const host::Stopwatch stopwatch;
    const std::string name(kind);
    if (std::find(kConfigurableKinds.begin(), kConfigurableKinds.end(), kind) == kConfigurableKinds.end()) {
      throw Refusal(RefusalCode::BadArgument, "no " + name + " can be marked as being configured");
    }
    const std::string unknown = "there is no " + name + " with the id " + std::to_string(id);
    if (!has_data_) throw Refusal(RefusalCode::UnknownDevice, unknown);
    db::UnitOfWork work;
    const std::optional<int> zr =
        kind == "camera" ? SetFlag(devices::CameraTable(), id, on) : SetFlag(devices::IOModuleTable(), id, on);
    if (!zr) throw Refusal(RefusalCode::UnknownDevice, unknown);
    ConfiguringResult result;
    result.zr = *zr;
    host::Commit(work, result);
    result.changes = host::ChangesIn(work);  // known by now, without waiting for them
    result.took = stopwatch.Elapsed();
    return result;
  });
}

}  // namespace qv
