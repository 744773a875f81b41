#include "qvwebapicmssyncutils.h"

#include "analytics/countingtaskgroups.h"
#include "analytics/countingwidgets.h"
#include "analytics/facetasks.h"
#include "analytics/ivatasks.h"
#include "axisacsctrler.h"
#include "camera.h"
#include "cmshostdapi.h"
#include "devices/camcapfiles.h"
#include "devices/cameras.h"
#include "devices/ctrlers.h"
#include "devices/iomodules.h"
#include "frame/posdata.h"
#include "frame/speakerdata.h"
#include "recserversavers.h"
#include "removal/slaveremoval.h"
#include "slavezr.h"
#include "status/camerastatus.h"
#include "status/ctrlerstatus.h"
#include "status/devicestatus.h"
#include "status/rtspkeys.h"
#include "status/slavestatus.h"

namespace {

void UpdateAnalytics(const Json::Value& info, int zrId, CachedCamMap& camMap) {
  UpdateIvaInfo(info, zrId, camMap, false);
  UpdateCountingWidgetInfo(info, zrId);
  UpdateCountingTaskGroupInfo(info, zrId);
  UpdateFaceInfo(info, zrId, camMap, false);
}

bool HasEntries(const Json::Value& status, const char* section) {
  return status.isMember(section) && !status[section].empty();
}

/// A step that takes the whole report is handed an empty section too.
void UpdateDeviceStatus(const Json::Value& status, int zrId, CachedCamMap& camMap) {
  if (HasEntries(status, "camera_info")) UpdateCamInfo(zrId, status["camera_info"], camMap);
  if (status.isMember("face_info")) UpdateFaceInfo(status, zrId, camMap, true);
  if (status.isMember("iva_info")) UpdateIvaInfo(status, zrId, camMap, true);
  if (HasEntries(status, "iomodule_info")) BatUpdateIOMod(zrId, status["iomodule_info"]);
  if (status.isMember("POS_info")) BatUpdatePOS(status, zrId);
  if (HasEntries(status, "speaker_info")) BatUpdateSpeaker(zrId, status["speaker_info"]);
  if (status.isMember("ctrler_info")) UpdateCtrlerStatus(status, zrId);
}

}  // namespace

// Every step runs whatever the earlier ones returned: each logs its own failures.

int SaveSlaveInfoUpdate(const SlaveZR& slave, const Json::Value& info, int zrId) {
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
  CachedCamMap camMap(zrId, MAP_KEY_ID_ON_REC_SERVER);
  UpdateAnalytics(info, zrId, camMap);
  if (HaveTaviFeature(slave.GetZrModel()) != 0) CmsHostdApi::NotifySyncFaceDatabase(zrId, 0);
  return 0;
}

int SaveSlaveInfoPair(const SlaveZR& slave, const Json::Value& info, int zrId) {
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
  CachedCamMap camMap(zrId, MAP_KEY_ID_ON_REC_SERVER);
  UpdateAnalytics(info, zrId, camMap);
  if (HaveTaviFeature(slave.GetZrModel()) != 0) {
    CmsHostdApi::NotifySyncFaceDatabase(zrId, 0);
    CmsHostdApi::NotifySyncLicensePlateDatabase(zrId);
  }
  return 0;
}

int SaveSlaveStatus(const Json::Value& status, SlaveZRStatus& rec) {
  ReadServerState(status, rec);
  CachedCamMap camMap(rec.ZrId, MAP_KEY_ID_ON_REC_SERVER);
  if (IsZrOnlineSts(static_cast<SLAVE_ZR_CONN_STATUS>(rec.Status))) {
    ReadOnlineState(status, rec);
    UpdateDeviceStatus(status, rec.ZrId, camMap);
    ReadRecoverProgress(status, rec);
  }
  if (status.isMember("camCapList")) SaveCamCapFiles(rec.ZrId, status["camCapList"]);
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
