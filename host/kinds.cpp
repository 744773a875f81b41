#include "kinds.h"

#include <algorithm>

#include "analytics/tables.h"
#include "capability/capability.h"
#include "devices/edgestoragetable.h"
#include "devices/posrules.h"
#include "devices/sections.h"
#include "devices/tables.h"
#include "messages/outbox.h"
#include "removal/ownedrows.h"
#include "server/servers.h"

namespace qv::host {

using namespace devices;  // NOLINT(google-build-using-namespace): the tables of all device kinds

namespace {

/// A section that the host keeps entry by entry.
Kind Section(std::string_view name, const record::AnyTable& table) {
  return {name, &table, Role::Settings, "owner_zr_id", {"id", "id_on_rec_server", "owner_zr_id", "settings"}};
}

/// Equipment; `columns` come after those that every device has.
Kind Device(std::string_view name, const record::AnyTable& table, const std::vector<std::string_view>& columns) {
  Kind kind{name, &table, Role::Device, "owner_zr_id", {"id", "id_on_rec_server", "owner_zr_id", "name"}};
  kind.columns.insert(kind.columns.end(), columns.begin(), columns.end());
  return kind;
}

/// Analytics of a slave's cameras: it goes with them, so only they are guarded.
Kind Analytics(std::string_view name, const record::AnyTable& table, const std::vector<std::string_view>& columns) {
  Kind kind = Device(name, table, columns);
  kind.role = Role::Settings;
  return kind;
}

}  // namespace

std::span<const Kind> AllKinds() {
  static const std::vector<Kind> kinds = {
      {"server",
       &server::ServerTable(),
       Role::Settings,
       "id",
       {"id", "model", "status", "cam_count", "iomodule_count", "trans_dev_count", "speaker_dev_count",
        "acs_door_count", "tarn_version", "qv_version", "dp_version", "last_report"}},
      Device("camera", CameraTable(), {"enabled", "vendor", "model", "host", "resolution", "status"}),
      {"edge-storage",
       &EdgeStorageTable(),
       Role::Settings,
       "owner_zr_id",
       {"id", "owner_zr_id", "camera_id", "enabled", "recording_mode", "storage_type", "size", "retention_days"}},
      Device("iomodule", IOModuleTable(),
             {"enabled", "vendor", "model", "host", "input_count", "output_count", "note"}),
      Device("pos", PosTable(), {"enabled", "vendor", "model", "host", "port", "note"}),
      Device("speaker", SpeakerTable(), {"enabled", "vendor", "model", "host", "volume", "note"}),
      Device("controller", CtrlerTable(), {"enabled", "model", "host", "mac_addr", "status", "note"}),
      {"door",
       &DoorTable(),
       Role::Settings,
       "owner_zr_id",
       {"id", "id_on_rec_server", "owner_zr_id", "name", "ctrler_id", "cam_id", "cam_zr_id", "status"}},
      Analytics("iva-task", analytics::IvaTaskTable(), {"camera_id", "type", "enable"}),
      Analytics("face-task", analytics::FaceTaskTable(), {"camera_id", "enable", "face_groups"}),
      Analytics("counting-widget", analytics::CountingWidgetTable(), {"iva_setting_id", "type", "capacity"}),
      Analytics("counting-group", analytics::TaskGroupTable(), {"widget_ids"}),
      Section("camera-detection-setting", CameraDetectionSettingTable()),
      Section("camera-device-output", CameraDeviceOutputTable()),
      Section("iomodule-setting", IOModuleSettingTable()),
      Section("iomodule-cam-pairing", IOModuleCamPairingTable()),
      Section("pos-event-conf", PosEventConfTable()),
      {"pos-text-rule",
       &PosTextRuleTable(),
       Role::Settings,
       "",
       {"id", "pos_id", "position", "type", "pattern", "value"}},
      {"counting-group-widget",
       &analytics::TaskGroupWidgetTable(),
       Role::Settings,
       "",
       {"id", "group_id", "position", "widget_id"}},
      Section("ctrler-action-rule", CtrlerActionRuleTable()),
      Section("rec-share", RecShareTable()),
      {"capability",
       &capability::CapabilityFileTable(),
       Role::Settings,
       "owner_zr_id",
       {"id", "owner_zr_id", "vendor", "model", "path"}},
      {"message", &messages::MessageTable(), Role::Outbox, "zr_id", {"id", "zr_id", "target", "command", "payload"}},
  };
  return kinds;
}

record::Where RowsOf(const Kind& kind, int zr) {
  if (kind.owner.empty()) return removal::RowsOf(*kind.table, zr).front();
  return record::Where().Is(kind.owner, zr);
}

const Kind* FindKind(std::string_view name) {
  const std::span<const Kind> kinds = AllKinds();
  const auto found = std::find_if(kinds.begin(), kinds.end(), [&](const Kind& kind) { return kind.name == name; });
  return found == kinds.end() ? nullptr : &*found;
}

}  // namespace qv::host
