/// configuring: marks a device as being configured on the host, so that no slave overwrites it, or as free again.

#include <devicestatus.h>

#include "commands.h"
#include "db/database.h"
#include "devices/tables.h"
#include "exitcodes.h"
#include "host.h"
#include "output.h"

namespace qvcms {

using namespace qv::devices;  // NOLINT(google-build-using-namespace): the tables of all device kinds

namespace {

template <class Table>
bool SetFlag(const Table& table, int id, bool on) {
  auto device = table.Find(qv::record::Where().Is("id", id));
  if (!device) return false;
  const int others = device->GetDeviceStatusFlags() & ~DEV_STATUS_FLAG_CONFIGURING;
  device->SetDeviceStatusFlags(on ? others | DEV_STATUS_FLAG_CONFIGURING : others);
  table.Save(*device);
  return true;
}

struct ConfigurableKind {
  const char* name;
  bool (*set_flag)(int id, bool on);  ///< @return whether there is such a device
};

constexpr ConfigurableKind kConfigurableKinds[] = {
    {"camera", [](int id, bool on) { return SetFlag(CameraTable(), id, on); }},
    {"iomodule", [](int id, bool on) { return SetFlag(IOModuleTable(), id, on); }},
};

}  // namespace

std::vector<std::string> ConfigurableKindNames() {
  std::vector<std::string> names;
  for (const ConfigurableKind& kind : kConfigurableKinds) names.emplace_back(kind.name);
  return names;
}

int Run(const GlobalOptions& global, const ConfiguringOptions& options) {
  const Failure no_device(kFailed, "there is no " + options.device + " with the id " + std::to_string(options.id));
  if (IsUnused(global.data_dir)) throw no_device;
  const Host host(global);
  qv::db::UnitOfWork work;
  for (const ConfigurableKind& kind : kConfigurableKinds) {
    if (options.device == kind.name && !kind.set_flag(options.id, options.on)) throw no_device;
  }
  return CommitAndReport(
      work, FormatRows(global.format, {"kind", "id", "configuring"},
                       {{{"kind", options.device}, {"id", options.id}, {"configuring", options.on}}}, true));
}

}  // namespace qvcms
