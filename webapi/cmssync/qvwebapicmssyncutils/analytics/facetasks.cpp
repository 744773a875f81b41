#include "analytics/analyticssteps.h"
#include "analytics/tasksync.h"
#include "facesetting.h"

namespace {

struct FaceFacts {
  using Task = FaceSetting;
  using FilterRule = FaceSettingFilterRule;
  static constexpr const char* kSection = "face_info";
  static constexpr const char* kKeptKeys[] = {"id", "task_id"};

  static void LogNoCameras(int zr_id) {
    CMS_LOG_AT(1, 356, "UpdateFaceInfo", "Failed to get cam map of ZR [%d].\n", zr_id);
  }
  static void LogNoList(int zr_id) {
    CMS_LOG_AT(1, 361, "UpdateFaceInfo", "Failed to get FaceTask list of ZR [%d].\n", zr_id);
  }
  static void LogNoCamera(int slave_cam_id, int zr_id) {
    CMS_LOG_AT(1, 371, "UpdateFaceInfo", "Cam[%d]: Load from Zr[%d] failed.\n", slave_cam_id, zr_id);
  }
  static void LogChanged(int host_id, const Json::Value& original, const Json::Value& task) {
    CMS_LOG_AT(5, 402, "UpdateFaceInfo", "Face Task[%d] info changed.\n", host_id);
    CMS_LOG_AT(7, 403, "UpdateFaceInfo", "Original Task info: [%s]\n", JsonDump(original).c_str());
    CMS_LOG_AT(7, 404, "UpdateFaceInfo", "New      Task info: [%s]\n", JsonDump(task).c_str());
  }
  static void LogExtra(int zr_id) {
    CMS_LOG_AT(5, 417, "UpdateFaceInfo", "Delete Extra Face Task in db from ZR[%d].\n", zr_id);
  }
  static void LogDeleteFailed(int host_id, int zr_id) {
    CMS_LOG_AT(1, 420, "UpdateFaceInfo", "Failed to delete Face task[%d] of slave[%d] .\n", host_id, zr_id);
  }
  static void LogNew(int zr_id, const Json::Value& task) {
    CMS_LOG_AT(5, 427, "UpdateFaceInfo", "Get a new Face task from ZR[%d].\n", zr_id);
    CMS_LOG_AT(7, 428, "UpdateFaceInfo", "New Task info: [%s]\n", JsonDump(task).c_str());
  }
};

}  // namespace

void UpdateFaceInfo(const Json::Value& info, int zr_id, CachedCamMap& camera_map, bool update_only) {
  SyncTasks<FaceFacts>(info, zr_id, camera_map, update_only);
}
