#include <functional>
#include <list>
#include <set>
#include <vector>

#include "analytics/analyticssteps.h"
#include "frame/idlist.h"
#include "frame/logmessage.h"
#include "qvobjectcounting.h"
#include "tavicountingwidget.h"
#include "tavisetting.h"

namespace {

using QvObjectCounting::CountingWidgetConverter;
using QvObjectCounting::FenceWidget;
using QvObjectCounting::RegionWidget;

constexpr char kFunction[] = "UpdateCountingWidgetInfo";

struct Storages {
  QvObjectCounting::DbRegionWidgetStorage region;
  QvObjectCounting::DbFenceWidgetStorage fence;
};

/// The entry with the host's ids: that of its task, and its own if the host has the widget under that task, else 0.
Json::Value WithHostIds(const Json::Value& element, int slave_widget_id, int host_task_id) {
  Json::Value widget = element;
  widget["id"] = 0;
  widget["id_on_rec_server"] = slave_widget_id;
  widget["iva_setting_id"] = host_task_id;
  TaviCountingWidget known;
  if (known.LoadByIdOnRecServerAndTaskId(slave_widget_id, host_task_id) == 0) widget["id"] = known.GetId();
  return widget;
}

void SaveWidget(const Json::Value& widget, int type, const Storages& storages) {
  switch (type) {
    case COUNTING_WIDGET_TYPE_REGION:
      if (const Optional<RegionWidget> region = CountingWidgetConverter::Convert2RegionWidget(widget)) {
        storages.region.Save(region.Value());
      } else {
        CMS_LOG_AT(1, 230, kFunction, "Failed to convert json to region widget.\n");
      }
      break;
    case COUNTING_WIDGET_TYPE_FENCE:
      if (const Optional<FenceWidget> fence = CountingWidgetConverter::Convert2FenceWidget(widget)) {
        storages.fence.Save(fence.Value());
      } else {
        CMS_LOG_AT(1, 238, kFunction, "Failed to convert json to fence widget.\n");
      }
      break;
    default:
      CMS_LOG_AT(1, 243, kFunction, "Unknown widget type [%d].\n", type);
  }
}

/// @return the ids on the slave of all entries, including those that were not saved
std::set<int> SaveWidgets(const Json::Value& section, int zr_id, const Storages& storages) {
  std::set<int> reported;
  for (const Json::Value& element : section) {
    const int slave_widget_id = element["id"].asInt();
    const int slave_task_id = element["iva_setting_id"].asInt();
    reported.insert(slave_widget_id);
    TaviSetting task;
    if (task.LoadByIdOnRecServer(slave_task_id, zr_id) != 0) {
      CMS_LOG_AT(1, 211, kFunction, "Failed to load task[%d] from rec server[%d].\n", slave_task_id, zr_id);
      continue;
    }
    SaveWidget(WithHostIds(element, slave_widget_id, task.GetId()), element["type"].asInt(), storages);
  }
  return reported;
}

/// The widgets of the slave's tasks on the host; empty, after a message, if they cannot be listed.
Optional<std::vector<TaviCountingWidget>> ListWidgets(int zr_id) {
  IvaSettingFilterRule task_rule;
  task_rule.ownerZrId = zr_id;
  std::list<TaviSetting> tasks;
  if (TaviSetting::Enum(task_rule, tasks) != 0) {
    CMS_LOG_AT(1, 252, kFunction, "Failed to get IvaTasks list of ZR [%d].\n", zr_id);
    return {};
  }
  TaviCountingWidgetFilterRule widget_rule;
  widget_rule.taskIds = List2Vector(Transform2List(tasks, std::mem_fn(&TaviSetting::GetId)));
  Optional<std::vector<TaviCountingWidget>> widgets = TaviCountingWidget::Enum(widget_rule);
  if (!widgets) CMS_LOG_AT(1, 261, kFunction, "Failed to get counting widgets from db.\n");
  return widgets;
}

void DeleteWidget(const TaviCountingWidget& widget, const Storages& storages) {
  CMS_LOG_AT(5, 267, kFunction, "Delete counting widget [%d] from db.\n", widget.GetId());
  switch (widget.GetType()) {
    case COUNTING_WIDGET_TYPE_REGION:
      storages.region.DeleteById(widget.GetId());
      break;
    case COUNTING_WIDGET_TYPE_FENCE:
      storages.fence.DeleteById(widget.GetId());
      break;
    default:
      CMS_LOG_AT(1, 273, kFunction, "Unknown widget type [%d].\n", static_cast<int>(widget.GetType()));
  }
}

}  // namespace

void UpdateCountingWidgetInfo(const Json::Value& info, int zr_id) {
  if (!info.isMember("counting_widget_info")) return;
  const Storages storages;
  const std::set<int> reported = SaveWidgets(info["counting_widget_info"], zr_id, storages);
  const Optional<std::vector<TaviCountingWidget>> widgets = ListWidgets(zr_id);
  if (!widgets) return;
  for (const TaviCountingWidget& widget : widgets.Value()) {
    // Matched by the slave's id only: a widget that moved to another task keeps its old row too.
    if (!reported.contains(widget.GetIdOnRecServer())) DeleteWidget(widget, storages);
  }
}
