#include <functional>

#include "actionruledaemon.h"
#include "camera.h"
#include "devices/camedgedata.h"
#include "devices/devicesteps.h"
#include "frame/idlist.h"
#include "frame/reconcile.h"
#include "messagedaemon.h"
#include "shared/actruledapi.h"

namespace {

class CameraPolicy {
 public:
  using Device = Camera;
  static constexpr const char* kUpdateFunction = "UpdateCameraData";
  static constexpr const char* kRemoveFunction = "RemoveExtraCams";

  explicit CameraPolicy(int zr_id) : zr_id_(zr_id) {}

  /// Loads the edge storage of the cameras too.
  std::list<Camera> List() {
    CamFilterRule rule;
    rule.ownerZrId = zr_id_;
    // Otherwise a camera that is being configured would be missing from the list, and added once more.
    rule.skipConfiguring = false;
    std::list<Camera> cameras = CamGetList(rule, QV_DUMMY_INT, false);
    LoadCamEdgeMap(zr_id_, edges_);
    return cameras;
  }
  static int IdOnRecServer(const Camera& camera) { return camera.GetIdOnRecServer(); }
  static bool IsChanged(const Camera& camera, const Json::Value& entry) { return camera.IsCfgChged(entry) != 0; }

  void Update(Camera& camera, const Json::Value& entry) const {
    if (camera.IsStatusFlagOn(DEV_STATUS_FLAG_CONFIGURING)) {
      CMS_LOG(5, kUpdateFunction, "Skip to update cam [%d] on ZR [%d] due configuring.\n", camera.GetId(), zr_id_);
      return;
    }
    CMS_LOG(4, kUpdateFunction, "Update cam [%d] on ZR [%d].\n", camera.GetId(), zr_id_);
    InitCamObjByJson(entry, camera, false, true, false);
    camera.Save();
  }
  void Add(Camera& camera, const Json::Value& entry) const {
    camera.SetOwnerZrId(zr_id_);
    InitCamObjByJson(entry, camera, true, true, false);
    camera.Save();
    CMS_LOG(4, kUpdateFunction, "Add cam [%d] from ZR [%d].\n", camera.GetId(), zr_id_);
  }
  /// Also for cameras that were not written.
  void AfterEntry(const Camera& camera, const Json::Value& entry) {
    (camera.GetEnabled() ? enabled_ : others_).push_back(camera.GetId());
    if (entry.isMember("edgeStorage")) UpdateCamEdgeData(zr_id_, camera, entry["edgeStorage"], edges_);
  }

  /// Tells the daemons which cameras are enabled and which are not. Sends both messages even if there are no cameras.
  void Notify() const {
    SendCamRelatedMsgToMsgD();
    const std::list<int> none;
    Json::Value command;
    CompoundSendCmd2ActRuled(enabled_, none, none, DEVICE_STATUS_ENABLED, command);
    CompoundSendCmd2ActRuled(others_, none, none, DEVICE_STATUS_DISABLED, command);
    SendCompoundCmd(zr_id_, command, false);
  }

  void LogExtra(const std::list<Camera>& extra) const {
    const std::list<int> ids =
        Transform2List(extra, std::mem_fn(&TaggedField<CameraData::Fields, CameraData::Id>::GetId));
    CMS_LOG(3, kRemoveFunction, "Remove extra cameras [%s] on ZR [%d].\n",
            Iter2String(ids.begin(), ids.end(), ",").c_str(), zr_id_);
  }
  /// Logs failures only: the summary has named the cameras, of which there may be hundreds.
  static bool Delete(const Camera& camera) {
    if (camera.Delete(false) == 0) return true;
    CMS_LOG(1, kRemoveFunction, "Failed while delete camera [%d].\n", camera.GetId());
    return false;
  }
  static bool SyncRelatedTables(const Camera& camera) { return SyncRelatedTableForCamDel(camera, false) == 0; }

 private:
  int zr_id_;
  std::map<int, EdgeStorage> edges_;
  std::list<int> enabled_;
  std::list<int> others_;
};

}  // namespace

int UpdateCameraData(int zr_id, const Json::Value& section) {
  CameraPolicy policy(zr_id);
  const std::list<Camera> extra = UpdateDevices(policy, section);
  policy.Notify();
  RemoveExtraDevices(policy, extra);
  return 0;
}
