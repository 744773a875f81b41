#include "schema/kinds.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "analytics/tables.h"
#include "capability/capability.h"
#include "devices/camerareferences.h"
#include "devices/emapitems.h"
#include "devices/posrules.h"
#include "devices/sections.h"
#include "devices/tables.h"
#include "messages/outbox.h"
#include "server/relatedtables.h"
#include "server/servers.h"
#include "server/settings.h"

namespace qv::schema {
namespace {

constexpr Member kId[] = {{"id", Json::intValue}};
constexpr Member kCameraStatus[] = {{"id", Json::intValue},
                                    {"status", Json::intValue},
                                    {"live_profile", Json::intValue},
                                    {"rtsp_key", Json::stringValue}};
constexpr Member kCamera[] = {{"id", Json::intValue}, {"rtsp_key", Json::stringValue}};
constexpr Member kDeviceStatus[] = {{"id", Json::intValue}, {"status", Json::intValue}};
constexpr Member kTask[] = {{"id", Json::intValue}, {"camera_id", Json::intValue}};
constexpr Member kWidget[] = {{"id", Json::intValue}, {"iva_setting_id", Json::intValue}, {"type", Json::intValue}};
constexpr Member kCapability[] = {
    {"camVendor", Json::stringValue}, {"camModel", Json::stringValue}, {"capFileName", Json::stringValue}};

using ColumnNames = std::vector<std::string_view>;

Kind Settings(std::string_view name, const record::AnyTable& table, Removal removal, ColumnNames columns,
              Section section = {}) {
  return {name, &table, removal, Role::Settings, std::move(columns), section};
}

/// With the columns that every device and every task has, and some of its own.
Kind Named(std::string_view name, const record::AnyTable& table, Removal removal, const ColumnNames& own,
           Section section = {}) {
  ColumnNames columns = {"id", "id_on_rec_server", "owner_zr_id", "name"};
  columns.insert(columns.end(), own.begin(), own.end());
  return Settings(name, table, removal, std::move(columns), section);
}

Kind Device(std::string_view name, const record::AnyTable& table, Removal removal, const ColumnNames& own,
            Section section) {
  Kind kind = Named(name, table, removal, own, section);
  kind.role = Role::Device;
  return kind;
}

/// A section that the host keeps entry by entry, as it is.
Kind Entries(std::string_view name, const record::AnyTable& table, Removal removal, const char* section) {
  return Settings(name, table, removal, {"id", "id_on_rec_server", "owner_zr_id", "settings"},
                  {.name = section, .lists_objects = false});
}

}  // namespace

std::span<const Kind> Kinds() {
  using namespace devices;    // NOLINT(google-build-using-namespace): the tables of all parts
  using namespace analytics;  // NOLINT(google-build-using-namespace)
  using namespace server;     // NOLINT(google-build-using-namespace)
  static const std::vector<Kind> kinds = {
      Settings("server", ServerTable(), Removal::PrivilegeProfiles,
               {"id", "model", "status", "cam_count", "iomodule_count", "trans_dev_count", "speaker_dev_count",
                "acs_door_count", "tarn_version", "qv_version", "dp_version", "last_report"}),
      Device("camera", CameraTable(), Removal::Cameras, {"enabled", "vendor", "model", "host", "resolution", "status"},
             {"camera_info", true, kCamera, kCameraStatus}),
      Settings(
          "edge-storage", EdgeStorageTable(), Removal::Cameras,
          {"id", "owner_zr_id", "camera_id", "enabled", "recording_mode", "storage_type", "size", "retention_days"}),
      Device("iomodule", IOModuleTable(), Removal::IOModules,
             {"enabled", "vendor", "model", "host", "input_count", "output_count", "note"},
             {"iomodule_info", true, kId, kDeviceStatus}),
      Device("pos", PosTable(), Removal::PosTerminals, {"enabled", "vendor", "model", "host", "port", "note"},
             {"POS_info", true, kId, kDeviceStatus}),
      Device("speaker", SpeakerTable(), Removal::Speakers, {"enabled", "vendor", "model", "host", "volume", "note"},
             {"speaker_info", true, kId, kDeviceStatus}),
      Device("controller", CtrlerTable(), Removal::Controllers,
             {"enabled", "model", "host", "mac_addr", "status", "note"}, {"ctrler_info", true, kId}),
      Named("door", DoorTable(), Removal::Controllers, {"ctrler_id", "cam_id", "cam_zr_id", "status"}),
      // Analytics goes with the cameras, so only they are guarded.
      Named("iva-task", IvaTaskTable(), Removal::Cameras, {"camera_id", "type", "enable"},
            {"iva_info", true, kTask, kTask}),
      Named("face-task", FaceTaskTable(), Removal::Cameras, {"camera_id", "enable", "face_groups"},
            {"face_info", true, kTask, kTask}),
      Named("counting-widget", CountingWidgetTable(), Removal::Cameras, {"iva_setting_id", "type", "capacity"},
            {"counting_widget_info", false, kWidget}),
      Named("counting-group", TaskGroupTable(), Removal::Cameras, {"widget_ids"}, {"counting_task_group_info"}),
      Entries("camera-detection-setting", CameraDetectionSettingTable(), Removal::Cameras, "camDetSetting"),
      Entries("camera-device-output", CameraDeviceOutputTable(), Removal::Cameras, "camDeviceOutput"),
      Entries("iomodule-setting", IOModuleSettingTable(), Removal::IOModules, "iomoduleSetting"),
      Entries("iomodule-cam-pairing", IOModuleCamPairingTable(), Removal::IOModules, "iomoduleCamPairing"),
      Entries("pos-event-conf", PosEventConfTable(), Removal::PosTerminals, "POS_eventconf"),
      Settings("pos-text-rule", PosTextRuleTable(), Removal::PosTerminals,
               {"id", "pos_id", "position", "type", "pattern", "value"}),
      Settings("counting-group-widget", TaskGroupWidgetTable(), Removal::Cameras,
               {"id", "group_id", "position", "widget_id"}),
      // The states that rules ask for, from the section of the controllers.
      Entries("ctrler-action-rule", CtrlerActionRuleTable(), Removal::Controllers, nullptr),
      Entries("rec-share", RecShareTable(), Removal::RecShares, "recShare"),
      Settings("capability", capability::CapabilityFileTable(), Removal::Cameras,
               {"id", "owner_zr_id", "vendor", "model", "path"}, {"camCapList", true, kCapability, kCapability}),
      {"message",
       &messages::MessageTable(),
       Removal::None,
       Role::Outbox,
       {"id", "zr_id", "target", "command", "payload"}},
      {"emap-item", &EmapItemTable(), Removal::EmapItems},
      {"layout-item", &LayoutItemTable(), Removal::LayoutItems},
      {"privilege-profile-server", &PrivilegeProfileServerTable(), Removal::PrivilegeProfiles},
      {"camera-migration", &CameraMigrationTable(), Removal::CameraMigrations},
      {"camera-group-member", &CameraGroupMemberTable(), Removal::CameraGroups},
      {"event-mount", &EventMountTable(), Removal::EventMounts},
      {"event-export", &EventExportTable(), Removal::EventExports},
      {"door-layout-item", &DoorLayoutItemTable(), Removal::DoorLayoutItems},
      {"setting", &SettingTable(), Removal::None},
  };
  return kinds;
}

const Kind& KindOf(std::string_view table) {
  const std::span<const Kind> kinds = Kinds();
  const auto found =
      std::find_if(kinds.begin(), kinds.end(), [&](const Kind& kind) { return kind.table->name() == table; });
  if (found == kinds.end()) throw std::logic_error("no table " + std::string(table));
  return *found;
}

void ForeseeSnapshot(int zr) {
  for (const Kind& kind : Kinds()) {
    // A snapshot without a section of devices, or of one kept entry by entry, says that there are none.
    const bool is_compared = kind.role == Role::Device || !kind.section.lists_objects;
    if (is_compared) kind.table->Foresee(record::Where().Is("owner_zr_id", zr));
  }
}

}  // namespace qv::schema
