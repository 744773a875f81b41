#include <functional>

#include "devices/devicesteps.h"
#include "frame/idlist.h"
#include "frame/reconcile.h"
#include "pos.h"

namespace {

class PosPolicy : public NothingAfterEntry {
 public:
  using Device = POS;
  static constexpr const char* kUpdateFunction = "UpdatePOSData";
  static constexpr const char* kRemoveFunction = "RemoveExtraPOSs";

  explicit PosPolicy(int zr_id) : zr_id_(zr_id) {}

  std::list<POS> List() const {
    POSFilterRule rule;
    rule.ownerZrIds = std::list<int>{zr_id_};
    rule.hostLocalOnly = false;
    std::list<POS> list;
    GetPOSListByRule(rule, list);
    return list;
  }
  static int IdOnRecServer(const POS& pos) { return pos.GetIdOnRecServer(); }
  static bool IsChanged(const POS& pos, const Json::Value& entry) { return pos.IsCfgChged(entry) != 0; }

  void Update(POS& pos, const Json::Value& entry) const {
    CMS_LOG(4, kUpdateFunction, "Update POS [%d] on ZR [%d].\n", pos.GetId(), zr_id_);
    if (pos.SetByJson(entry, true, pos.GetId()) == 0) return;
    pos.SetOwnerZrId(zr_id_);
    pos.Save();
  }
  void Add(POS& pos, const Json::Value& entry) const {
    if (pos.SetByJson(entry, true, 0) == 0) return;
    pos.SetOwnerZrId(zr_id_);
    pos.Save();
    CMS_LOG(4, kUpdateFunction, "Add POS [%d] from ZR [%d].\n", pos.GetId(), zr_id_);
  }

  void LogExtra(const std::list<POS>& extra) const {
    const std::list<int> ids = Transform2List(extra, std::mem_fn(&TaggedField<POSData::Fields, POSData::Id>::GetId));
    CMS_LOG(3, kRemoveFunction, "Remove extra POSs [%s] on ZR [%d].\n",
            Iter2String(ids.begin(), ids.end(), ",").c_str(), zr_id_);
  }
  bool Delete(const POS& pos) const {
    CMS_LOG(4, kRemoveFunction, "Remove POS [%d] on ZR [%d].\n", pos.GetId(), zr_id_);
    if (pos.Delete() == 0) return true;
    CMS_LOG(1, kRemoveFunction, "Failed while delete POS [%d].\n", pos.GetId());
    return false;
  }
  static bool SyncRelatedTables(const POS& pos) { return SyncRelatedTableForPOSDel(pos) == 0; }

 private:
  int zr_id_;
};

}  // namespace

void ReconcilePOSs(int zr_id, const Json::Value& section) {
  PosPolicy policy(zr_id);
  RemoveExtraDevices(policy, UpdateDevices(policy, section));
}
