#include "status/slavestatus.h"

#include "frame/logmessage.h"
#include "stringprintf.h"

namespace {

/// Whether the value is the text "true". The boolean true is not, although it converts to that text.
bool IsTextTrue(const Json::Value& value) { return value.asString() == "true" && value.isString(); }

std::string SummaryText(const SlaveZRStatus& rec) {
  // There is no blank after RecoverProgress: programs parse this line.
  return StringPrintf(
      "ZrId: [%d], Status: [%d], VolStatus: [%d], PkgStatus: [%d], CamCnt: [%d], DoorCnt: [%d], VolSpace: [%lf], "
      "blCmsLocked: [%d], blCmsMasked: [%d], LoginError: [%d], strCookie: [%s], strSerialNum: [%s], "
      "strTarnVersion: [%s], strQVVersion: [%s], isBeta: [%d], strDPVersion: [%s], RecoverProgress: [%d],"
      "blHasAAC: [%d], blHasHEVC: [%d], ORUPkgStatus: [%d], blRecEncryptEnabled: [%d].",
      rec.ZrId, rec.Status, rec.VolStatus, rec.PkgStatus, rec.CamCnt, rec.DoorCnt, rec.VolSpace, rec.blCmsLocked,
      rec.blCmsMasked, rec.LoginError, rec.strCookie.c_str(), rec.strSerialNum.c_str(), rec.strTarnVersion.c_str(),
      rec.strQVVersion.c_str(), rec.isBeta, rec.strDPVersion.c_str(), rec.RecoverProgress, rec.blHasAAC, rec.blHasHEVC,
      rec.ORUPkgStatus, rec.blRecEncryptEnabled);
}

}  // namespace

void ReadServerState(const Json::Value& status, SlaveZRStatus& rec) {
  rec.Status = status["status"].asInt();
  rec.PkgStatus = status["pkg_status"].asInt();
  rec.VolStatus = status["vol_status"].asInt();
  rec.strCookie = status["cookie"].asString();
  rec.strSerialNum = status["serial_num"].asString();
  rec.strTarnVersion = status["tarn_version"].asString();
  rec.strQVVersion = status["qv_version"].asString();
  rec.strDPVersion = status["dp_version"].asString();
  rec.isBeta = status.isMember("is_beta") ? status["is_beta"].asBool() : true;
  rec.blRecEncryptEnabled = status.isMember("recEncryptEnabled") ? status["recEncryptEnabled"].asBool() : false;
}

void ReadOnlineState(const Json::Value& status, SlaveZRStatus& rec) {
  rec.CamCnt = status["cam_count"].asInt();
  rec.IOModCnt = status["iomodule_count"].asInt();
  rec.TransDevCnt = status["trans_dev_count"].asInt();
  rec.SpeakerDevCnt = status["speaker_dev_count"].asInt();
  rec.DoorCnt = status["acs_door_count"].asInt();
  rec.VolSpace = status.isMember("volSpace") ? status["volSpace"].asDouble() : -1.0;
  rec.blHasAAC = status["has_aac"].asBool();
  rec.blHasHEVC = status["has_hevc"].asBool();
  rec.ORUPkgStatus = status["oru_pkg_status"].asInt();
}

void ReadRecoverProgress(const Json::Value& status, SlaveZRStatus& rec) {
  rec.RecoverProgress = status["recover_progress"].asInt();
}

void ReadCmsFlags(const Json::Value& status, SlaveZRStatus& rec) {
  rec.blCmsLocked = IsTextTrue(status["cms_locked"]);
  rec.blCmsMasked = IsTextTrue(status["cms_masked"]);
}

void LogZrInfo(const SlaveZRStatus& rec) { CMS_LOG(7, "SaveSlaveStatus", "ZrInfo: %s\n", SummaryText(rec).c_str()); }
