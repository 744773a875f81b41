#include <functional>

#include "devices/devicesteps.h"
#include "frame/idlist.h"
#include "frame/reconcile.h"
#include "iomodule.h"

namespace {

class IOModulePolicy : public NothingAfterEntry {
 public:
  using Device = IOModule;
  static constexpr const char* kUpdateFunction = "UpdateIOModuleData";
  static constexpr const char* kRemoveFunction = "RemoveExtraIOMods";

  explicit IOModulePolicy(int zr_id) : zr_id_(zr_id) {}

  std::list<IOModule> List() const {
    IOModuleFilterRule rule;
    rule.ownerZrId = zr_id_;
    rule.skipConfiguring = false;
    return IOModuleGetList(rule, QV_DUMMY_INT, false);
  }
  static int IdOnRecServer(const IOModule& module) { return module.GetIdOnRecServer(); }
  static bool IsChanged(const IOModule& module, const Json::Value& entry) { return module.IsCfgChged(entry) != 0; }

  void Update(IOModule& module, const Json::Value& entry) const {
    if (module.IsStatusFlagOn(DEV_STATUS_FLAG_CONFIGURING)) {
      CMS_LOG(4, kUpdateFunction, "Skip to update IOMod [%d] on ZR [%d] due configuring.\n", module.GetId(), zr_id_);
      return;
    }
    CMS_LOG(4, kUpdateFunction, "Update IOMod [%d] on ZR [%d].\n", module.GetId(), zr_id_);
    ApplyAndSave(module, entry, false);
  }
  void Add(IOModule& module, const Json::Value& entry) const {
    ApplyAndSave(module, entry, true);
    CMS_LOG(4, kUpdateFunction, "Add IO module [%d] from ZR [%d].\n", module.GetId(), zr_id_);
  }

  void LogExtra(const std::list<IOModule>& extra) const {
    const std::list<int> ids = Transform2List(extra, std::mem_fn(&IOModule::GetId));
    CMS_LOG(3, kRemoveFunction, "Remove extra IOMods [%s] on ZR [%d].\n",
            Iter2String(ids.begin(), ids.end(), ",").c_str(), zr_id_);
  }
  bool Delete(const IOModule& module) const {
    // "IO mode" is not a slip: log filters in use look for these words.
    CMS_LOG(4, kRemoveFunction, "Remove IO mode [%d] on ZR [%d].\n", module.GetId(), zr_id_);
    if (module.Delete() == 0) return true;
    CMS_LOG(1, kRemoveFunction, "Failed while delete IO module [%d].\n", module.GetId());
    return false;
  }
  static bool SyncRelatedTables(const IOModule& module) { return SyncRelatedTableForIOModuleDel(module) == 0; }

 private:
  /// Saves the module even if the entry is refused, so that it belongs to its server in any case.
  void ApplyAndSave(IOModule& module, const Json::Value& entry, bool is_new) const {
    InitIOModuleByJson(entry, module, is_new, true, false);
    module.SetOwnerZrId(zr_id_);
    module.Save(false, false);
  }

  int zr_id_;
};

}  // namespace

int UpdateIOModuleData(int zr_id, const Json::Value& section) {
  IOModulePolicy policy(zr_id);
  RemoveExtraDevices(policy, UpdateDevices(policy, section));
  return 0;
}
