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

struct IOModBatch {
  using StsInfo = IOModStsInfo;
  static constexpr const char* kFunction = "BatUpdateIOMod";
  static constexpr const char* kUpdate = "UPDATE iomodule SET status_on_rec_server=";
  static constexpr DB_INSTANCE kInstance = kDbInstanceMain;

  static auto Devices(int zr_id) { return GetIOModuleMapOnRecServer(zr_id, true); }
  static bool IsSkipped(const IOModule& module) { return module.IsStatusFlagOn(DEV_STATUS_FLAG_CONFIGURING); }
  static void AfterUpdate(int zr_id, std::list<IOModStsInfo>& changed, const std::list<int>&) {
    if (ShmDBCache* cache = QVShmDBCacheAt()) {
      cache->BatUpdateIOModule(zr_id, changed);
    } else {
      CMS_LOG(1, kFunction, "Failed to get share memory CameraList.\n");
    }
  }
  static void SendChanged(const std::list<int>& ids) { SendIOModUpdateMsgToMsgD(ids, UPDATE_TYPE_CHANGED, false); }
};

/// Tells of the e-maps that show these devices. Sends the message even if no e-map shows them.
void UpdateEmaps(EMAP_TYPE type, const std::list<int>& ids) {
  SendEmapUpdateMsgToMsgD(GetRelatedEmapIdsByEmapItemType(type, ids), UPDATE_TYPE_CHANGED, false);
}

struct PosBatch {
  using StsInfo = POSStsInfo;
  static constexpr const char* kFunction = "BatUpdatePOS";
  static constexpr const char* kUpdate = "UPDATE pos SET status=";
  static constexpr DB_INSTANCE kInstance = kDbInstancePos;

  static auto Devices(int zr_id) { return GetPOSMapOnRecServer(zr_id, true); }
  static bool IsSkipped(const POS&) { return false; }
  static void AfterUpdate(int, std::list<POSStsInfo>&, const std::list<int>& ids) { UpdateEmaps(EMAP_TYPE_POS, ids); }
  static void SendChanged(const std::list<int>& ids) { SendPOSUpdateMsgToMsgD(ids, UPDATE_TYPE_CHANGED); }
};

struct SpeakerBatch {
  using StsInfo = SpeakerStsInfo;
  static constexpr const char* kFunction = "BatUpdateSpeaker";
  static constexpr const char* kUpdate = "UPDATE ipspeaker SET status_on_rec_server=";
  static constexpr DB_INSTANCE kInstance = kDbInstanceSpeaker;

  static auto Devices(int zr_id) { return GetSpeakerMapOnRecServer(zr_id, true); }
  static bool IsSkipped(const IPSpeaker&) { return false; }
  static void AfterUpdate(int, std::list<SpeakerStsInfo>&, const std::list<int>& ids) {
    UpdateEmaps(EMAP_TYPE_IP_SPEAKER, ids);
  }
  static void SendChanged(const std::list<int>& ids) { SendIPSpeakerUpdateMsgToMsgD(ids, UPDATE_TYPE_CHANGED); }
};

template <class Batch>
std::list<typename Batch::StsInfo> Changes(int zr_id, const Json::Value& section) {
  using StsInfo = typename Batch::StsInfo;
  const auto devices = Batch::Devices(zr_id);
  std::list<StsInfo> changed;
  for (const Json::Value& elem : section) {
    const auto found = devices.find(elem["id"].asInt());
    if (found == devices.end()) continue;
    const auto& device = found->second;
    const StsInfo reported{device.GetId(), elem["status"].asInt()};
    if (!(device.GetStsInfo() == reported) && !Batch::IsSkipped(device)) changed.push_back(reported);
  }
  return changed;
}

template <class Batch>
void BatUpdate(int zr_id, const Json::Value& section) {
  std::list<typename Batch::StsInfo> changed = Changes<Batch>(zr_id, section);
  if (changed.empty()) return;
  std::string sql;
  std::list<int> ids;
  for (const auto& info : changed) {
    sql += Batch::kUpdate + std::to_string(info.status) + " WHERE " + "id=" + std::to_string(info.id) + "; ";
    ids.push_back(info.id);
  }
  if (QVDB::Execute(Batch::kInstance, std::move(sql), nullptr, false, true, true, true) == 0) {
    Batch::AfterUpdate(zr_id, changed, ids);
  } else {
    CMS_LOG(1, Batch::kFunction, "Failed to execute command.\n");
  }
  Batch::SendChanged(ids);
}

}  // namespace

void BatUpdateIOMod(int zr_id, const Json::Value& section) { BatUpdate<IOModBatch>(zr_id, section); }

void BatUpdatePOS(const Json::Value& status, int zr_id) {
  const Json::Value& section = status["POS_info"];
  if (!section.empty()) BatUpdate<PosBatch>(zr_id, section);
}

void BatUpdateSpeaker(int zr_id, const Json::Value& section) { BatUpdate<SpeakerBatch>(zr_id, section); }
