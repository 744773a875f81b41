#include "analytics/analyticssteps.h"
#include "analytics/tasksync.h"
#include "tavisetting.h"

namespace {

struct IvaFacts {
  using Task = TaviSetting;
  using FilterRule = IvaSettingFilterRule;
  static constexpr const char* kSection = "iva_info";
  static constexpr const char* kKeptKeys[] = {"id"};

  static void LogNoCameras(int zr_id) {
    CMS_LOG_AT(1, 116, "UpdateIvaInfo", "Failed to get cam map of ZR [%d].\n", zr_id);
  }
  static void LogNoList(int zr_id) {
    CMS_LOG_AT(1, 121, "UpdateIvaInfo", "Failed to get IvaTask list of ZR [%d].\n", zr_id);
  }
  static void LogNoCamera(int slave_cam_id, int zr_id) {
    CMS_LOG_AT(1, 131, "UpdateIvaInfo", "Cam[%d]: Load from Zr[%d] failed.\n", slave_cam_id, zr_id);
  }
  static void LogChanged(int host_id, const Json::Value& original, const Json::Value& task) {
    CMS_LOG_AT(5, 161, "UpdateIvaInfo", "Iva Task[%d] info changed.\n", host_id);
    CMS_LOG_AT(7, 162, "UpdateIvaInfo", "Original Task info: [%s]\n", JsonDump(original).c_str());
    CMS_LOG_AT(7, 163, "UpdateIvaInfo", "New      Task info: [%s]\n", JsonDump(task).c_str());
  }
  static void LogExtra(int zr_id) {
    CMS_LOG_AT(5, 176, "UpdateIvaInfo", "Delete Extra Iva Task in db from ZR[%d].\n", zr_id);
  }
  static void LogDeleteFailed(int host_id, int zr_id) {
    CMS_LOG_AT(1, 179, "UpdateIvaInfo", "Failed to delete Iva task[%d] of slave[%d] .\n", host_id, zr_id);
  }
  static void LogNew(int zr_id, const Json::Value& task) {
    CMS_LOG_AT(5, 186, "UpdateIvaInfo", "Get a new IVA task from ZR[%d].\n", zr_id);
    CMS_LOG_AT(7, 187, "UpdateIvaInfo", "New Task info: [%s]\n", JsonDump(task).c_str());
  }
};

}  // namespace

void UpdateIvaInfo(const Json::Value& info, int zr_id, CachedCamMap& camera_map, bool update_only) {
  SyncTasks<IvaFacts>(info, zr_id, camera_map, update_only);
}
