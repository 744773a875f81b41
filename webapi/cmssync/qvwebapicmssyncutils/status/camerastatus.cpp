#include "status/camerastatus.h"

#include <list>
#include <map>
#include <string>

#include "camera.h"
#include "clientnotify.h"
#include "frame/logmessage.h"
#include "status/rtspkeys.h"

namespace {

/// What a report brings, element by element.
struct Report {
  std::list<CamStsInfo> changed;
  std::list<int> other_live_stream;
  std::map<int, std::string> rtsp_keys;
};

bool IsConfiguring(const Camera& camera) { return (camera.GetDeviceStatusFlags() & DEV_STATUS_FLAG_CONFIGURING) != 0; }

const std::string& LiveProfileText(const CamStsInfo& info) { return info.GetStreamProfile(info.GetLiveProfile()); }

void TakeChanged(int zrId, const Camera& camera, const CamStsInfo& host, const CamStsInfo& reported, Report& report) {
  if (IsConfiguring(camera)) {
    CMS_LOG(5, "UpdateCamInfo", "Skip to sync cam [%d] on ZR [%d] due configuring.\n", camera.GetId(), zrId);
    return;
  }
  CMS_LOG(5, "UpdateCamInfo", "Cam [%d] info changed.\n", camera.GetId());
  CMS_LOG(7, "UpdateCamInfo", "Original cam info: [%s]\n", host.toString().c_str());
  CMS_LOG(7, "UpdateCamInfo", "New      cam info: [%s]\n", reported.toString().c_str());
  report.changed.push_back(reported);
}

void TakeElement(int zrId, const Camera& camera, const Json::Value& elem, Report& report) {
  const CamStsInfo host = camera.GetStsInfo();
  CamStsInfo reported(camera.GetId(), elem);
  reported.TakeUnreported(host);
  std::string key = elem["rtsp_key"].asString();
  if (host != reported) TakeChanged(zrId, camera, host, reported, report);
  // Also while the camera is being configured: the slave streams something else already.
  if (LiveProfileText(host) != LiveProfileText(reported)) report.other_live_stream.push_back(camera.GetId());
  report.rtsp_keys.emplace(camera.GetId(), std::move(key));
}

}  // namespace

void UpdateCamInfo(int zrId, const Json::Value& cameraInfo, CachedCamMap& cache) {
  std::map<int, Camera> cameras;
  if (!cache.Get(cameras)) {
    CMS_LOG(1, "UpdateCamInfo", "Failed to get cam map of ZR [%d].\n", zrId);
    return;
  }
  Report report;
  for (const Json::Value& elem : cameraInfo) {
    if (const auto camera = cameras.find(elem["id"].asInt()); camera != cameras.end()) {
      TakeElement(zrId, camera->second, elem, report);
    }
  }
  CheckToUpdateRtspKey(zrId, report.rtsp_keys);
  if (!report.changed.empty()) BatUpdateCam(zrId, report.changed);
  if (!report.other_live_stream.empty()) {
    QVClientNotify::Notify(CLIENT_NOTIFY_CAM_LIVE_STREAM, report.other_live_stream);
  }
}
