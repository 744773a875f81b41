#include "qvwebapicmssyncutils.h"

#include "analytics/countingtaskgroups.h"
#include "analytics/countingwidgets.h"
#include "analytics/facetasks.h"
#include "analytics/ivatasks.h"
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

namespace {

void UpdateAnalytics(const Json::Value& info, int zrId) {
  CachedCamMap camMap(zrId, MAP_KEY_ID_ON_REC_SERVER);
  UpdateIvaInfo(info, zrId, camMap, false);
  UpdateCountingWidgetInfo(info, zrId);
  UpdateCountingTaskGroupInfo(info, zrId);
  UpdateFaceInfo(info, zrId, camMap, false);
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
  UpdateAnalytics(info, zrId);
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
  UpdateAnalytics(info, zrId);
  if (HaveTaviFeature(slave.GetZrModel()) != 0) {
    CmsHostdApi::NotifySyncFaceDatabase(zrId, 0);
    CmsHostdApi::NotifySyncLicensePlateDatabase(zrId);
  }
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
