#include <functional>

#include "devices/devicesteps.h"
#include "frame/idlist.h"
#include "frame/reconcile.h"
#include "ipspeaker.h"

namespace {

class SpeakerPolicy : public NothingAfterEntry {
 public:
  using Device = IPSpeaker;
  static constexpr const char* kUpdateFunction = "UpdateSpeakerData";
  static constexpr const char* kRemoveFunction = "RemoveExtraSpeakers";

  explicit SpeakerPolicy(int zr_id) : zr_id_(zr_id) {}

  std::list<IPSpeaker> List() const {
    IPSpeakerFilterRule rule;
    rule.ownerZrIds = std::list<int>{zr_id_};
    rule.hostLocalOnly = false;
    return IPSpeakerGetList(rule, QV_DUMMY_INT);
  }
  static int IdOnRecServer(const IPSpeaker& speaker) { return speaker.GetIdOnRecServer(); }
  static bool IsChanged(const IPSpeaker& speaker, const Json::Value& entry) { return speaker.IsCfgChanged(entry) != 0; }

  void Update(IPSpeaker& speaker, const Json::Value& entry) const {
    CMS_LOG(4, kUpdateFunction, "Update Speaker [%d] on ZR [%d].\n", speaker.GetId(), zr_id_);
    if (speaker.SetByJsonWithDBColKey(entry, true, speaker.GetId(), false) == 0) return;
    speaker.SetOwnerZrId(zr_id_);
    speaker.Save();
  }
  void Add(IPSpeaker& speaker, const Json::Value& entry) const {
    if (speaker.SetByJsonWithDBColKey(entry, true, 0, false) == 0) return;
    speaker.SetOwnerZrId(zr_id_);
    speaker.Save();
    CMS_LOG(4, kUpdateFunction, "Add Speaker [%d] from ZR [%d].\n", speaker.GetId(), zr_id_);
  }

  void LogExtra(const std::list<IPSpeaker>& extra) const {
    const std::list<int> ids =
        Transform2List(extra, std::mem_fn(&TaggedField<IPSpeakerData::Fields, IPSpeakerData::Id>::GetId));
    CMS_LOG(3, kRemoveFunction, "Remove extra Speakers [%s] on ZR [%d].\n",
            Iter2String(ids.begin(), ids.end(), ",").c_str(), zr_id_);
  }
  bool Delete(const IPSpeaker& speaker) const {
    CMS_LOG(4, kRemoveFunction, "Remove Speaker [%d] on ZR [%d].\n", speaker.GetId(), zr_id_);
    if (speaker.Delete() == 0) return true;
    CMS_LOG(1, kRemoveFunction, "Failed while delete Speaker [%d].\n", speaker.GetId());
    return false;
  }
  static bool SyncRelatedTables(const IPSpeaker& speaker) {
    return SpeakerSync::SyncRelatedTableForSpeakerDel(speaker) == 0;
  }

 private:
  int zr_id_;
};

}  // namespace

void ReconcileSpeakers(int zr_id, const Json::Value& section) {
  SpeakerPolicy policy(zr_id);
  RemoveExtraDevices(policy, UpdateDevices(policy, section));
}
