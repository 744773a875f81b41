#include "ivatasks.h"

#include "analytics/tasksync.h"
#include "tavisetting.h"

namespace {

struct IvaFacts {
  using Task = TaviSetting;
  using FilterRule = IvaSettingFilterRule;
  static constexpr const char* kSection = "iva_info";
  static constexpr const char* kKeptKeys[] = {"id"};

  static void LogNoCameras(int zrId) {
    CMS_LOG_AT(1, 116, "UpdateIvaInfo", "Failed to get cam map of ZR [%d].\n", zrId);
  }
  static void LogNoList(int zrId) {
    CMS_LOG_AT(1, 121, "UpdateIvaInfo", "Failed to get IvaTask list of ZR [%d].\n", zrId);
  }
  static void LogNoCamera(int slaveCamId, int zrId) {
    CMS_LOG_AT(1, 131, "UpdateIvaInfo", "Cam[%d]: Load from Zr[%d] failed.\n", slaveCamId, zrId);
  }
  static void LogChanged(int hostId, const Json::Value& original, const Json::Value& task) {
    CMS_LOG_AT(5, 161, "UpdateIvaInfo", "Iva Task[%d] info changed.\n", hostId);
    CMS_LOG_AT(7, 162, "UpdateIvaInfo", "Original Task info: [%s]\n", JsonDump(original).c_str());
    CMS_LOG_AT(7, 163, "UpdateIvaInfo", "New      Task info: [%s]\n", JsonDump(task).c_str());
  }
  static void LogExtra(int zrId) {
    CMS_LOG_AT(5, 176, "UpdateIvaInfo", "Delete Extra Iva Task in db from ZR[%d].\n", zrId);
  }
  static void LogDeleteFailed(int hostId, int zrId) {
    CMS_LOG_AT(1, 179, "UpdateIvaInfo", "Failed to delete Iva task[%d] of slave[%d] .\n", hostId, zrId);
  }
  static void LogNew(int zrId, const Json::Value& task) {
    CMS_LOG_AT(5, 186, "UpdateIvaInfo", "Get a new IVA task from ZR[%d].\n", zrId);
    CMS_LOG_AT(7, 187, "UpdateIvaInfo", "New Task info: [%s]\n", JsonDump(task).c_str());
  }
};

}  // namespace

void UpdateIvaInfo(const Json::Value& info, int zrId, CachedCamMap& camMap, bool updateOnly) {
  SyncTasks<IvaFacts>(info, zrId, camMap, updateOnly);
}
