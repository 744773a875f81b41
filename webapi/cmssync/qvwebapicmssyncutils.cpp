#include "qvwebapicmssyncutils.h"

#include "analytics/analyticssteps.h"
#include "axisacsctrler.h"
#include "camera.h"
#include "cmshostdapi.h"
#include "devices/devicesteps.h"
#include "recserversavers.h"
#include "removal/slaveremoval.h"
#include "slavezr.h"
#include "status/rtspkeys.h"
#include "status/slavestatus.h"
#include "status/statussteps.h"

namespace {

void UpdateAnalytics(const Json::Value& info, int zr_id, CachedCamMap& camera_map) {
  UpdateIvaInfo(info, zr_id, camera_map, false);
  UpdateCountingWidgetInfo(info, zr_id);
  UpdateCountingTaskGroupInfo(info, zr_id);
  UpdateFaceInfo(info, zr_id, camera_map, false);
}

bool HasEntries(const Json::Value& status, const char* section) {
  return status.isMember(section) && !status[section].empty();
}

/// A step that takes the whole report is called for an empty section too.
void UpdateDeviceStatus(const Json::Value& status, int zr_id, CachedCamMap& camera_map) {
  if (HasEntries(status, "camera_info")) UpdateCamInfo(zr_id, status["camera_info"], camera_map);
  if (status.isMember("face_info")) UpdateFaceInfo(status, zr_id, camera_map, true);
  if (status.isMember("iva_info")) UpdateIvaInfo(status, zr_id, camera_map, true);
  if (HasEntries(status, "iomodule_info")) BatUpdateIOMod(zr_id, status["iomodule_info"]);
  if (status.isMember("POS_info")) BatUpdatePOS(status, zr_id);
  if (HasEntries(status, "speaker_info")) BatUpdateSpeaker(zr_id, status["speaker_info"]);
  if (status.isMember("ctrler_info")) UpdateCtrlerStatus(status, zr_id);
}

/// Below 1, an id names no slave: -1 is any server to the filter rules, and 0 is the host itself. Its rows are none of
/// a slave's document.
bool NamesSlave(int zr_id) { return zr_id >= 1; }

}  // namespace

// Every step runs, even if earlier ones failed: each logs its own failures.

int SaveSlaveInfoUpdate(const SlaveZR& slave, const Json::Value& info, int zrId) {
  if (!NamesSlave(zrId)) return 0;
  UpdateCameraData(zrId, info["camera_info"]);
  SaveCamCapFiles(zrId, info["camCapList"]);
  SaveCamDetSettingFromRec(zrId, info["camDetSetting"]);
  SaveCamDeviceOutputFromRec(zrId, info["camDeviceOutput"]);
  UpdateRecShareFromRec(zrId, info["recShare"]);
  UpdateCtrlDataInActRule(zrId, info["ctrler_info"]);
  UpdateIOModuleData(zrId, info["iomodule_info"]);
  SaveIOModuleSettingFromRec(zrId, info["iomoduleSetting"]);
  SaveIOModuleCamPairingFromRec(zrId, info["iomoduleCamPairing"]);
  ReconcilePOSs(zrId, info["POS_info"]);
  SavePOSEventConfFromRecServer(zrId, info["POS_eventconf"]);
  ReconcileSpeakers(zrId, info["speaker_info"]);
  UpdateCtrlerData(zrId, info["ctrler_info"]);
  CachedCamMap camera_map(zrId, MAP_KEY_ID_ON_REC_SERVER);
  UpdateAnalytics(info, zrId, camera_map);
  if (HaveTaviFeature(slave.GetZrModel()) != 0) CmsHostdApi::NotifySyncFaceDatabase(zrId, 0);
  return 0;
}

int SaveSlaveInfoPair(const SlaveZR& slave, const Json::Value& info, int zrId) {
  if (!NamesSlave(zrId)) return 0;
  SaveCamObjFromRecServer(zrId, info["camera_info"], false, false, "");
  SaveCamCapFiles(zrId, info["camCapList"]);
  SaveCamDetSettingFromRec(zrId, info["camDetSetting"]);
  SaveCamDeviceOutputFromRec(zrId, info["camDeviceOutput"]);
  SaveRecShareFromRec(zrId, info["recShare"]);
  SaveIOModuleFromRecServer(zrId, info["iomodule_info"], false);
  SaveIOModuleSettingFromRec(zrId, info["iomoduleSetting"]);
  SaveIOModuleCamPairingFromRec(zrId, info["iomoduleCamPairing"]);
  SavePOSFromRecServer(zrId, info["POS_info"], false);
  SavePOSEventConfFromRecServer(zrId, info["POS_eventconf"]);
  SaveSpeakerFromRecServer(zrId, info["speaker_info"]);
  SaveCtrlerFromRec(zrId, info["ctrler_info"]);
  CachedCamMap camera_map(zrId, MAP_KEY_ID_ON_REC_SERVER);
  UpdateAnalytics(info, zrId, camera_map);
  if (HaveTaviFeature(slave.GetZrModel()) != 0) {
    CmsHostdApi::NotifySyncFaceDatabase(zrId, 0);
    CmsHostdApi::NotifySyncLicensePlateDatabase(zrId);
  }
  return 0;
}

int SaveSlaveStatus(const Json::Value& status, SlaveZRStatus& rec) {
  ReadServerState(status, rec);
  CachedCamMap camera_map(rec.ZrId, MAP_KEY_ID_ON_REC_SERVER);
  if (IsZrOnlineSts(static_cast<SLAVE_ZR_CONN_STATUS>(rec.Status))) {
    ReadOnlineState(status, rec);
    if (NamesSlave(rec.ZrId)) UpdateDeviceStatus(status, rec.ZrId, camera_map);
    ReadRecoverProgress(status, rec);
  }
  if (NamesSlave(rec.ZrId) && status.isMember("camCapList")) SaveCamCapFiles(rec.ZrId, status["camCapList"]);
  ReadCmsFlags(status, rec);
  LogZrInfo(rec);
  return 0;
}

int RemoveSlaveData(int zrId) {
  RemoveSlaveDevices(zrId);
  return 0;
}

int SyncRelatedTableForSlaveDel(int zrId) {
  const int result = RemoveSlaveRelations(zrId);
  RemoveRtspKeyFile(zrId);
  return result;
}

int GetAxisDoorZrIdMap(std::unordered_map<int, int>& doorToZr) { return GetDoorZrIdMap(doorToZr); }
