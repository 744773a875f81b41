#include "camfilterrule.h"

#include <algorithm>
#include <utility>

#include "devices/listing.h"
#include "devices/tables.h"

namespace qv::devices {
namespace {

/// The criteria that a column of the row fulfils by being equal.
record::Where Selection(const CamFilterRule& rule) {
  record::Where where;
  if (!rule.includeDisabled) where.Is("enabled", 1);
  if (rule.audioOnly) where.Is("audio_enabled", 1);
  if (rule.httpsOnly) where.Is("use_https", 1);
  const std::pair<const char*, int> numbers[] = {
      {"owner_zr_id", rule.ownerZrId},
      {"id", rule.id},
      {"id_on_rec_server", rule.idOnRecServer},
      {"channel", rule.channel},
      {"port", rule.port},
      {"status", rule.status},
      {"motion_source", rule.motionSource},
      {"live_profile", rule.liveProfile},
      {"recording_profile", rule.recordingProfile},
      {"mobile_profile", rule.mobileProfile},
      {"motion_event_type", rule.motionEventType},
      {"tampering_event_type", rule.tamperingEventType},
      {"audio_event_type", rule.audioEventType},
      {"disconnect_event_type", rule.disconnectEventType},
      {"retention_days", rule.retentionDays},
  };
  for (const auto& [column, value] : numbers) {
    if (value != -1) where.Is(column, value);
  }
  const std::pair<const char*, const std::string&> texts[] = {
      {"name", rule.name},
      {"vendor", rule.vendor},
      {"model", rule.model},
      {"firmware_version", rule.firmwareVersion},
      {"mac_address", rule.macAddress},
      {"host", rule.host},
      {"rtsp_path", rule.rtspPath},
      {"video_codec", rule.videoCodec},
      {"resolution", rule.resolution},
      {"audio_codec", rule.audioCodec},
      {"time_zone", rule.timeZone},
      {"note", rule.note},
  };
  for (const auto& [column, text] : texts) {
    if (!text.empty()) where.Is(column, text);
  }
  return where;
}

bool HasBits(int value, int bits) { return (value & bits) == bits; }

bool Contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

/// The other criteria.
bool Fits(const Camera& camera, const CamFilterRule& rule) {
  return !(rule.ptzOnly && camera.GetPtzCapability() == 0) && !(rule.motionOnly && camera.GetMotionSource() == 0) &&
         !(rule.skipConfiguring && HasBits(camera.GetDeviceStatusFlags(), DEV_STATUS_FLAG_CONFIGURING)) &&
         HasBits(camera.GetPtzCapability(), rule.ptzCapability) &&
         HasBits(camera.GetDeviceStatusFlags(), rule.deviceStatusFlags) &&
         Contains(camera.GetName(), rule.nameContains) && Contains(camera.GetHost(), rule.hostContains) &&
         Contains(camera.GetNote(), rule.noteContains);
}

}  // namespace

std::list<Camera> SelectCameras(const CamFilterRule& rule, int& fitting) {
  std::list<Camera> cameras = CameraTable().Select(Selection(rule));
  cameras.remove_if([&](const Camera& camera) { return !Fits(camera, rule); });
  if (rule.newestFirst) cameras.reverse();
  fitting = static_cast<int>(cameras.size());
  KeepPage(cameras, rule.offset, rule.limit);
  return cameras;
}

}  // namespace qv::devices
