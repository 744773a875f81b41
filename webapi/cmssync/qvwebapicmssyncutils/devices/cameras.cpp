#include "cameras.h"

#include <functional>

#include "actionruledaemon.h"
#include "camera.h"
#include "devices/camedgedata.h"
#include "frame/idlist.h"
#include "frame/reconcile.h"
#include "messagedaemon.h"
#include "status/actruledapi.h"

namespace {

class CameraKind {
 public:
  using Device = Camera;
  static constexpr const char* kUpdateFunction = "UpdateCameraData";
  static constexpr const char* kRemoveFunction = "RemoveExtraCams";

  explicit CameraKind(int zr_id) : zr_id_(zr_id) {}

  /// With the cameras comes their edge storage.
  std::list<Camera> List() {
    CamFilterRule rule;
    rule.ownerZrId = zr_id_;
    // A camera that is being configured would otherwise be missed, and added once more.
    rule.skipConfiguring = false;
    std::list<Camera> cameras = CamGetList(rule, QV_DUMMY_INT, false);
    LoadCamEdgeMap(zr_id_, edges_);
    return cameras;
  }
  static int IdOnRecServer(const Camera& camera) { return camera.GetIdOnRecServer(); }
  static bool IsChanged(const Camera& camera, const Json::Value& entry) { return camera.IsCfgChged(entry) != 0; }

  void Update(Camera& camera, const Json::Value& entry) const {
    if ((camera.GetDeviceStatusFlags() & DEV_STATUS_FLAG_CONFIGURING) != 0) {
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
  /// For every camera that the slave reports, written or not.
  void AfterEntry(const Camera& camera, const Json::Value& entry) {
    (camera.GetEnabled() ? enabled_ : others_).push_back(camera.GetId());
    if (entry.isMember("edgeStorage")) UpdateCamEdgeData(zr_id_, camera, entry["edgeStorage"], edges_);
  }

  /// Tells the daemons what the snapshot's cameras are now; also when there are none.
  void Notify() const {
    SendCamRelatedMsgToMsgD();
    const std::list<int> none;
    Json::Value command;
    CompoundSendCmd2ActRuled(enabled_, none, none, DEVICE_STATUS_ENABLED, command);
    CompoundSendCmd2ActRuled(others_, none, none, DEVICE_STATUS_DISABLED, command);
    SendCompoundCmd(zr_id_, command, false);
  }

  void LogExtra(const std::list<Camera>& extra) const {
    const std::list<int> ids = Transform2List(extra, std::mem_fn(&TaggedField<CameraData::Fields, 0>::GetId));
    CMS_LOG(3, kRemoveFunction, "Remove extra cameras [%s] on ZR [%d].\n",
            Iter2String(ids.begin(), ids.end(), ",").c_str(), zr_id_);
  }
  /// A building's worth of cameras may go at once: the summary names them, single lines only tell of failures.
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

int UpdateCameraData(int zrId, const Json::Value& cams) {
  CameraKind kind(zrId);
  const std::list<Camera> extra = UpdateDevices(kind, cams);
  kind.Notify();
  RemoveExtraDevices(kind, extra);
  return 0;
}
