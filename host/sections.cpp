#include "sections.h"

#include <vector>

#include "analytics/tables.h"
#include "capability/capability.h"
#include "devices/sections.h"
#include "devices/tables.h"

namespace qv::host {
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

std::string At(const std::string& list, Json::ArrayIndex index) { return list + '[' + std::to_string(index) + ']'; }

/// Null stands for a member that is absent. A number that must be an integer must be one: half of it is not to be cut
/// off.
bool Fits(const Json::Value& value, Json::ValueType type) {
  if (type == Json::intValue) return value.isNull() || value.isInt() || value.isBool();
  return value.isConvertibleTo(type);
}

const char* Expectation(Json::ValueType type) {
  switch (type) {
    case Json::intValue:
      return "an integer is expected";
    case Json::realValue:
      return "a number is expected";
    case Json::booleanValue:
      return "true or false is expected";
    default:
      return "a text is expected";
  }
}

std::optional<Fault> FindFaultIn(const Json::Value& object, std::span<const Member> members, const std::string& place) {
  for (const Member& member : members) {
    if (!Fits(object[member.name], member.type)) return Fault{place + member.name, Expectation(member.type)};
  }
  return std::nullopt;
}

std::optional<Fault> FindFaultInList(const Json::Value& list, const std::string& place,
                                     std::span<const Member> members) {
  if (!list.isArray()) return Fault{place, "an array is expected"};
  for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
    if (!list[i].isObject()) return Fault{At(place, i), "an object is expected"};
    if (auto fault = FindFaultIn(list[i], members, At(place, i) + '.')) return fault;
  }
  return std::nullopt;
}

std::optional<Fault> FindFaultInDoors(const Json::Value& controllers, const std::string& place) {
  for (Json::ArrayIndex i = 0; i < controllers.size(); ++i) {
    const Json::Value& doors = controllers[i]["door"];
    if (doors.isNull()) continue;
    if (auto fault = FindFaultInList(doors, At(place, i) + ".door", {})) return fault;
  }
  return std::nullopt;
}

std::optional<Fault> FindFaultInSection(const Json::Value& document, const Section& section,
                                        std::span<const Member> members) {
  if (!document.isMember(section.name)) return std::nullopt;
  const Json::Value& list = document[section.name];
  if (!section.lists_objects && list.isArray()) return std::nullopt;
  if (auto fault = FindFaultInList(list, section.name, members)) return fault;
  const bool has_doors = section.table == &devices::CtrlerTable();
  return has_doors ? FindFaultInDoors(list, section.name) : std::nullopt;
}

}  // namespace

std::span<const Section> Sections() {
  static const std::vector<Section> sections = {
      {"camera_info", true, kCamera, kCameraStatus, true, &devices::CameraTable(), true},
      {"camCapList", true, kCapability, kCapability, true, &capability::CapabilityFileTable()},
      {"iomodule_info", true, kId, kDeviceStatus, true, &devices::IOModuleTable(), true},
      {"POS_info", true, kId, kDeviceStatus, true, &devices::PosTable(), true},
      {"speaker_info", true, kId, kDeviceStatus, true, &devices::SpeakerTable(), true},
      {"ctrler_info", true, kId, {}, true, &devices::CtrlerTable(), true},
      {"iva_info", true, kTask, kTask, true, &analytics::IvaTaskTable()},
      {"face_info", true, kTask, kTask, true, &analytics::FaceTaskTable()},
      {"counting_widget_info", false, kWidget, {}, true, &analytics::CountingWidgetTable()},
      {"counting_task_group_info", false, {}, {}, true, &analytics::TaskGroupTable()},
      {"camDetSetting", false, {}, {}, false, &devices::CameraDetectionSettingTable()},
      {"camDeviceOutput", false, {}, {}, false, &devices::CameraDeviceOutputTable()},
      {"recShare", false, {}, {}, false, &devices::RecShareTable()},
      {"iomoduleSetting", false, {}, {}, false, &devices::IOModuleSettingTable()},
      {"iomoduleCamPairing", false, {}, {}, false, &devices::IOModuleCamPairingTable()},
      {"POS_eventconf", false, {}, {}, false, &devices::PosEventConfTable()},
  };
  return sections;
}

std::span<const Member> ServerMembers() {
  static constexpr Member kMembers[] = {{"status", Json::intValue},
                                        {"pkg_status", Json::intValue},
                                        {"vol_status", Json::intValue},
                                        {"cam_count", Json::intValue},
                                        {"iomodule_count", Json::intValue},
                                        {"trans_dev_count", Json::intValue},
                                        {"speaker_dev_count", Json::intValue},
                                        {"acs_door_count", Json::intValue},
                                        {"volSpace", Json::realValue},
                                        {"is_beta", Json::booleanValue},
                                        {"has_aac", Json::booleanValue},
                                        {"has_hevc", Json::booleanValue},
                                        {"oru_pkg_status", Json::intValue},
                                        {"recEncryptEnabled", Json::booleanValue},
                                        {"cms_locked", Json::stringValue},
                                        {"cms_masked", Json::stringValue},
                                        {"cookie", Json::stringValue},
                                        {"serial_num", Json::stringValue},
                                        {"tarn_version", Json::stringValue},
                                        {"qv_version", Json::stringValue},
                                        {"dp_version", Json::stringValue},
                                        {"recover_progress", Json::intValue}};
  return kMembers;
}

std::optional<Fault> FindFaultInSnapshot(const Json::Value& document) {
  for (const Section& section : Sections()) {
    if (auto fault = FindFaultInSection(document, section, section.in_snapshot)) return fault;
  }
  return std::nullopt;
}

std::optional<Fault> FindFaultInReport(const Json::Value& document) {
  if (auto fault = FindFaultIn(document, ServerMembers(), "")) return fault;
  for (const Section& section : Sections()) {
    if (!section.in_reports) continue;
    if (auto fault = FindFaultInSection(document, section, section.in_report)) return fault;
  }
  return std::nullopt;
}

}  // namespace qv::host
