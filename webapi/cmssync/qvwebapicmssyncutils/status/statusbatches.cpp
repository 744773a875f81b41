#include <list>
#include <map>
#include <string>

#include "emap.h"
#include "frame/logmessage.h"
#include "iomodule.h"
#include "ipspeaker.h"
#include "messagedaemon.h"
#include "pos.h"
#include "qvdb.h"
#include "shmdbcache.h"
#include "status/statussteps.h"

namespace {

/// How the status of one kind of device is written and told.
template <class Device, class StsInfo>
struct Batch {
  const char* function;
  const char* update;  ///< SQL up to the status
  DB_INSTANCE instance;
  std::map<int, Device> (*devices)(int zr_id, bool disabled_too);
  void (*after_update)(int zr_id, std::list<StsInfo>& changed, const std::list<int>& ids);
  void (*send_changed)(const std::list<int>& ids);
  bool (*is_skipped)(const Device& device) = nullptr;  ///< null: none is
};

/// Tells of the e-maps that show these devices. Sends the message even if no e-map shows them.
template <EMAP_TYPE TYPE, class StsInfo>
void UpdateEmaps(int, std::list<StsInfo>&, const std::list<int>& ids) {
  SendEmapUpdateMsgToMsgD(GetRelatedEmapIdsByEmapItemType(TYPE, ids), UPDATE_TYPE_CHANGED, false);
}

void UpdateCache(int zr_id, std::list<IOModStsInfo>& changed, const std::list<int>&) {
  if (ShmDBCache* cache = QVShmDBCacheAt()) {
    cache->BatUpdateIOModule(zr_id, changed);
  } else {
    CMS_LOG(1, "BatUpdateIOMod", "Failed to get share memory CameraList.\n");
  }
}

constexpr Batch<IOModule, IOModStsInfo> kIOModules = {
    "BatUpdateIOMod",
    "UPDATE iomodule SET status_on_rec_server=",
    kDbInstanceMain,
    GetIOModuleMapOnRecServer,
    UpdateCache,
    [](const std::list<int>& ids) { SendIOModUpdateMsgToMsgD(ids, UPDATE_TYPE_CHANGED, false); },
    [](const IOModule& module) { return module.IsStatusFlagOn(DEV_STATUS_FLAG_CONFIGURING); }};

constexpr Batch<POS, POSStsInfo> kPosTerminals = {
    "BatUpdatePOS",
    "UPDATE pos SET status=",
    kDbInstancePos,
    GetPOSMapOnRecServer,
    UpdateEmaps<EMAP_TYPE_POS, POSStsInfo>,
    [](const std::list<int>& ids) { SendPOSUpdateMsgToMsgD(ids, UPDATE_TYPE_CHANGED); }};

constexpr Batch<IPSpeaker, SpeakerStsInfo> kSpeakers = {
    "BatUpdateSpeaker",
    "UPDATE ipspeaker SET status_on_rec_server=",
    kDbInstanceSpeaker,
    GetSpeakerMapOnRecServer,
    UpdateEmaps<EMAP_TYPE_IP_SPEAKER, SpeakerStsInfo>,
    [](const std::list<int>& ids) { SendIPSpeakerUpdateMsgToMsgD(ids, UPDATE_TYPE_CHANGED); }};

template <class Device, class StsInfo>
std::list<StsInfo> Changes(const Batch<Device, StsInfo>& batch, int zr_id, const Json::Value& section) {
  const std::map<int, Device> devices = batch.devices(zr_id, true);
  std::list<StsInfo> changed;
  for (const Json::Value& elem : section) {
    const auto found = devices.find(elem["id"].asInt());
    if (found == devices.end()) continue;
    const Device& device = found->second;
    const StsInfo reported{device.GetId(), elem["status"].asInt()};
    const bool is_skipped = batch.is_skipped != nullptr && batch.is_skipped(device);
    if (!(device.GetStsInfo() == reported) && !is_skipped) changed.push_back(reported);
  }
  return changed;
}

template <class Device, class StsInfo>
void BatUpdate(const Batch<Device, StsInfo>& batch, int zr_id, const Json::Value& section) {
  std::list<StsInfo> changed = Changes(batch, zr_id, section);
  if (changed.empty()) return;
  std::string sql;
  std::list<int> ids;
  for (const StsInfo& info : changed) {
    sql += batch.update + std::to_string(info.status) + " WHERE " + "id=" + std::to_string(info.id) + "; ";
    ids.push_back(info.id);
  }
  if (QVDB::Execute(batch.instance, std::move(sql), nullptr, false, true, true, true) == 0) {
    batch.after_update(zr_id, changed, ids);
  } else {
    CMS_LOG(1, batch.function, "Failed to execute command.\n");
  }
  batch.send_changed(ids);
}

}  // namespace

void BatUpdateIOMod(int zr_id, const Json::Value& section) { BatUpdate(kIOModules, zr_id, section); }

void BatUpdatePOS(const Json::Value& status, int zr_id) {
  const Json::Value& section = status["POS_info"];
  if (!section.empty()) BatUpdate(kPosTerminals, zr_id, section);
}

void BatUpdateSpeaker(int zr_id, const Json::Value& section) { BatUpdate(kSpeakers, zr_id, section); }
