#include "status/devicestatus.h"

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

namespace {

struct IOModKind {
  using StsInfo = IOModStsInfo;
  static constexpr const char* kFunction = "BatUpdateIOMod";
  static constexpr const char* kUpdate = "UPDATE iomodule SET status_on_rec_server=";
  static constexpr DB_INSTANCE kInstance = kDbInstanceMain;

  static auto Devices(int zrId) { return GetIOModuleMapOnRecServer(zrId, true); }
  static bool IsLeftAlone(const IOModule& module) { return module.IsStatusFlagOn(DEV_STATUS_FLAG_CONFIGURING); }
  static void AfterUpdate(int zrId, std::list<IOModStsInfo>& changed, const std::list<int>&) {
    if (ShmDBCache* cache = QVShmDBCacheAt()) {
      cache->BatUpdateIOModule(zrId, changed);
    } else {
      CMS_LOG(1, kFunction, "Failed to get share memory CameraList.\n");
    }
  }
  static void Tell(const std::list<int>& ids) { SendIOModUpdateMsgToMsgD(ids, UPDATE_TYPE_CHANGED, false); }
};

/// Devices that e-maps show with their status. The message goes out even when no e-map shows them.
void UpdateEmaps(EMAP_TYPE type, const std::list<int>& ids) {
  SendEmapUpdateMsgToMsgD(GetRelatedEmapIdsByEmapItemType(type, ids), UPDATE_TYPE_CHANGED, false);
}

struct PosKind {
  using StsInfo = POSStsInfo;
  static constexpr const char* kFunction = "BatUpdatePOS";
  static constexpr const char* kUpdate = "UPDATE pos SET status=";
  static constexpr DB_INSTANCE kInstance = kDbInstancePos;

  static auto Devices(int zrId) { return GetPOSMapOnRecServer(zrId, true); }
  static bool IsLeftAlone(const POS&) { return false; }
  static void AfterUpdate(int, std::list<POSStsInfo>&, const std::list<int>& ids) { UpdateEmaps(EMAP_TYPE_POS, ids); }
  static void Tell(const std::list<int>& ids) { SendPOSUpdateMsgToMsgD(ids, UPDATE_TYPE_CHANGED); }
};

struct SpeakerKind {
  using StsInfo = SpeakerStsInfo;
  static constexpr const char* kFunction = "BatUpdateSpeaker";
  static constexpr const char* kUpdate = "UPDATE ipspeaker SET status_on_rec_server=";
  static constexpr DB_INSTANCE kInstance = kDbInstanceSpeaker;

  static auto Devices(int zrId) { return GetSpeakerMapOnRecServer(zrId, true); }
  static bool IsLeftAlone(const IPSpeaker&) { return false; }
  static void AfterUpdate(int, std::list<SpeakerStsInfo>&, const std::list<int>& ids) {
    UpdateEmaps(EMAP_TYPE_IP_SPEAKER, ids);
  }
  static void Tell(const std::list<int>& ids) { SendIPSpeakerUpdateMsgToMsgD(ids, UPDATE_TYPE_CHANGED); }
};

template <class Kind>
std::list<typename Kind::StsInfo> Changes(int zrId, const Json::Value& section) {
  using StsInfo = typename Kind::StsInfo;
  const auto devices = Kind::Devices(zrId);
  std::list<StsInfo> changed;
  for (const Json::Value& elem : section) {
    const auto found = devices.find(elem["id"].asInt());
    if (found == devices.end()) continue;
    const auto& device = found->second;
    const StsInfo reported{device.GetId(), elem["status"].asInt()};
    if (!(device.GetStsInfo() == reported) && !Kind::IsLeftAlone(device)) changed.push_back(reported);
  }
  return changed;
}

template <class Kind>
void BatUpdate(int zrId, const Json::Value& section) {
  std::list<typename Kind::StsInfo> changed = Changes<Kind>(zrId, section);
  if (changed.empty()) return;
  std::string sql;
  std::list<int> ids;
  for (const auto& info : changed) {
    sql += Kind::kUpdate + std::to_string(info.status) + " WHERE " + "id=" + std::to_string(info.id) + "; ";
    ids.push_back(info.id);
  }
  if (QVDB::Execute(Kind::kInstance, std::move(sql), nullptr, false, true, true, true) == 0) {
    Kind::AfterUpdate(zrId, changed, ids);
  } else {
    CMS_LOG(1, Kind::kFunction, "Failed to execute command.\n");
  }
  Kind::Tell(ids);
}

}  // namespace

void BatUpdateIOMod(int zrId, const Json::Value& section) { BatUpdate<IOModKind>(zrId, section); }

void BatUpdatePOS(const Json::Value& status, int zrId) {
  const Json::Value& section = status["POS_info"];
  if (!section.empty()) BatUpdate<PosKind>(zrId, section);
}

void BatUpdateSpeaker(int zrId, const Json::Value& section) { BatUpdate<SpeakerKind>(zrId, section); }
