#include <list>
#include <map>
#include <string>

#include "camera.h"
#include "clientnotify.h"
#include "frame/logmessage.h"
#include "status/rtspkeys.h"
#include "status/statussteps.h"

namespace {

/// What the elements of a report lead to.
struct Report {
  std::list<CamStsInfo> changed;
  std::list<int> live_stream_changed;
  std::map<int, std::string> rtsp_keys;
};

const std::string& LiveProfileText(const CamStsInfo& info) { return info.GetStreamProfile(info.GetLiveProfile()); }

void AddChanged(int zr_id, const Camera& camera, const CamStsInfo& host, const CamStsInfo& reported, Report& report) {
  if (camera.IsStatusFlagOn(DEV_STATUS_FLAG_CONFIGURING)) {
    CMS_LOG(5, "UpdateCamInfo", "Skip to sync cam [%d] on ZR [%d] due configuring.\n", camera.GetId(), zr_id);
    return;
  }
  CMS_LOG(5, "UpdateCamInfo", "Cam [%d] info changed.\n", camera.GetId());
  CMS_LOG(7, "UpdateCamInfo", "Original cam info: [%s]\n", host.toString().c_str());
  CMS_LOG(7, "UpdateCamInfo", "New      cam info: [%s]\n", reported.toString().c_str());
  report.changed.push_back(reported);
}

void ReadElement(int zr_id, const Camera& camera, const Json::Value& elem, Report& report) {
  const CamStsInfo host = camera.GetStsInfo();
  CamStsInfo reported(camera.GetId(), elem);
  reported.TakeUnreported(host);
  std::string key = elem["rtsp_key"].asString();
  if (host != reported) AddChanged(zr_id, camera, host, reported, report);
  // Also for a camera that is being configured: the slave has changed its stream already.
  if (LiveProfileText(host) != LiveProfileText(reported)) report.live_stream_changed.push_back(camera.GetId());
  report.rtsp_keys.emplace(camera.GetId(), std::move(key));
}

}  // namespace

void UpdateCamInfo(int zr_id, const Json::Value& section, CachedCamMap& camera_map) {
  std::map<int, Camera> cameras;
  if (!camera_map.Get(cameras)) {
    CMS_LOG(1, "UpdateCamInfo", "Failed to get cam map of ZR [%d].\n", zr_id);
    return;
  }
  Report report;
  for (const Json::Value& elem : section) {
    if (const auto camera = cameras.find(elem["id"].asInt()); camera != cameras.end()) {
      ReadElement(zr_id, camera->second, elem, report);
    }
  }
  CheckToUpdateRtspKey(zr_id, report.rtsp_keys);
  if (!report.changed.empty()) BatUpdateCam(zr_id, report.changed);
  if (!report.live_stream_changed.empty()) {
    QVClientNotify::Notify(CLIENT_NOTIFY_CAM_LIVE_STREAM, report.live_stream_changed);
  }
}
