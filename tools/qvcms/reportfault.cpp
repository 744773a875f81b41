#include "reportfault.h"

#include <qvjson.h>
#include <slavezrstatus.h>

#include <algorithm>
#include <span>

#include "devices/tables.h"

namespace qvcms {
namespace {

struct Member {
  const char* name;
  Json::ValueType type;
};

constexpr Member kServer[] = {{"status", Json::intValue},        {"pkg_status", Json::intValue},
                              {"vol_status", Json::intValue},    {"cookie", Json::stringValue},
                              {"serial_num", Json::stringValue}, {"tarn_version", Json::stringValue},
                              {"qv_version", Json::stringValue}, {"dp_version", Json::stringValue},
                              {"is_beta", Json::booleanValue},   {"recEncryptEnabled", Json::booleanValue}};
constexpr Member kOnline[] = {
    {"cam_count", Json::intValue},         {"iomodule_count", Json::intValue}, {"trans_dev_count", Json::intValue},
    {"speaker_dev_count", Json::intValue}, {"acs_door_count", Json::intValue}, {"volSpace", Json::realValue},
    {"has_aac", Json::booleanValue},       {"has_hevc", Json::booleanValue},   {"oru_pkg_status", Json::intValue}};
constexpr Member kId[] = {{"id", Json::intValue}};
constexpr Member kCamera[] = {
    {"status", Json::intValue}, {"live_profile", Json::intValue}, {"rtsp_key", Json::stringValue}};
constexpr Member kTask[] = {{"id", Json::intValue}, {"camera_id", Json::intValue}};
constexpr Member kDevice[] = {{"status", Json::intValue}};
constexpr Member kRecovery[] = {{"recover_progress", Json::intValue}};
constexpr Member kCapFile[] = {
    {"camVendor", Json::stringValue}, {"camModel", Json::stringValue}, {"capFileName", Json::stringValue}};
constexpr Member kCmsFlags[] = {{"cms_locked", Json::stringValue}, {"cms_masked", Json::stringValue}};

/// Walks a report. Each step says whether it has found the fault.
class Walk {
 public:
  Walk(const Json::Value& report, int zr) : report_(report), zr_(zr) {}

  std::string Fault() {
    static_cast<void>(In(report_, kServer) || (IsOnline() && InWhatCountsOnline()) ||
                      InEntries("camCapList", kCapFile) || In(report_, kCmsFlags));
    return fault_;
  }

 private:
  bool IsOnline() const { return IsZrOnlineSts(static_cast<SLAVE_ZR_CONN_STATUS>(report_["status"].asInt())); }

  bool InWhatCountsOnline() {
    namespace devices = qv::devices;
    return In(report_, kOnline) || InDevices("camera_info", kCamera, devices::CameraTable()) ||
           InEntries("face_info", kTask) || InEntries("iva_info", kTask) ||
           InDevices("iomodule_info", kDevice, devices::IOModuleTable()) ||
           InDevices("POS_info", kDevice, devices::PosTable()) ||
           InDevices("speaker_info", kDevice, devices::SpeakerTable()) || InCtrlers() || In(report_, kRecovery);
  }

  /// @param place  of the object, with a "." behind it
  bool In(const Json::Value& object, std::span<const Member> members, const std::string& place = "") {
    return std::any_of(members.begin(), members.end(), [&](const Member& member) {
      return !object[member.name].isConvertibleTo(member.type) && Found(place + member.name);
    });
  }
  template <class InEntry>
  bool InEach(const Json::Value& entries, const std::string& name, InEntry in_entry) {
    for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
      const std::string place = name + '[' + JsonWrite(entry.key(), true) + ']';
      if (!entry->isObject() && !entry->isNull()) return Found(place);
      if (in_entry(*entry, place + '.')) return true;
    }
    return false;
  }
  bool InEntries(const char* section, std::span<const Member> members) {
    return InEach(report_[section], section,
                  [&](const Json::Value& entry, const std::string& place) { return In(entry, members, place); });
  }
  bool InDevices(const char* section, std::span<const Member> members, const qv::record::AnyTable& table) {
    const auto known = table.HostIds(zr_);
    return InEach(report_[section], section, [&](const Json::Value& entry, const std::string& place) {
      return In(entry, kId, place) || (known.contains(entry["id"].asInt()) && In(entry, members, place));
    });
  }
  /// Their numbers and texts are taken only if they are such.
  bool InCtrlers() {
    const auto known = qv::devices::CtrlerTable().HostIds(zr_);
    return InEach(report_["ctrler_info"], "ctrler_info", [&](const Json::Value& entry, const std::string& place) {
      const Json::Value& id = entry["id"];
      return known.contains(id.isInt() ? id.asInt() : 0) &&
             InEach(entry["door"], place + "door", [](const Json::Value&, const std::string&) { return false; });
    });
  }
  bool Found(const std::string& place) {
    fault_ = place;
    return true;
  }

  const Json::Value& report_;
  const int zr_;
  std::string fault_;
};

}  // namespace

std::string FindFault(const Json::Value& report, int zr) { return Walk(report, zr).Fault(); }

}  // namespace qvcms
