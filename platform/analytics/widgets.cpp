#include <cmath>

#include "../db/database.h"
#include "../record/attempt.h"
#include "entryreader.h"
#include "qvobjectcounting.h"
#include "tables.h"
#include "tavisetting.h"

namespace QvObjectCounting {
namespace {

using qv::analytics::CountingWidgetTable;
using qv::analytics::EntryReader;

constexpr std::size_t kFewestCorners = 3;
constexpr std::size_t kFewestFencePoints = 2;

/// @return whether `json` is a list of at least `fewest` places
bool ReadPoints(const Json::Value& json, std::size_t fewest, std::vector<Point>& points) {
  if (!json.isArray() || json.size() < fewest) return false;
  for (const Json::Value& element : json) {
    if (!element.isObject() || !element["x"].isNumeric() || !element["y"].isNumeric()) return false;
    points.push_back({element["x"].asDouble(), element["y"].asDouble()});
    if (!std::isfinite(points.back().x) || !std::isfinite(points.back().y)) return false;
  }
  return true;
}

Json::Value PointsToJson(const std::vector<Point>& points) {
  Json::Value json(Json::arrayValue);
  for (const Point& point : points) {
    Json::Value& element = json.append(Json::Value());
    element["x"] = point.x;
    element["y"] = point.y;
  }
  return json;
}

template <class Widget>
Optional<Widget> Convert(const Json::Value& json, const char* points_key, std::size_t fewest_points,
                         std::vector<Point> Widget::*points) {
  if (!json.isObject()) return {};
  Widget widget;
  EntryReader entry(json);
  entry.Read("id", widget.id);
  entry.Read("id_on_rec_server", widget.idOnRecServer);
  entry.Read("iva_setting_id", widget.taskId);
  entry.Read("name", widget.name);
  entry.Read("detect_type", widget.detectType);
  entry.Read("calculation_type", widget.calculationType);
  entry.Read("capacity", widget.capacity);
  entry.Take("type");         // follows from the kind
  entry.Take("owner_zr_id");  // follows from the task
  if (!ReadPoints(entry.Take(points_key), fewest_points, widget.*points) || !entry.fits()) return {};
  widget.others = entry.Rest();
  return widget;
}

/// The server that a task of the host was copied from; empty when there is no such task.
Optional<int> OwnerOfTask(int task_id) {
  IvaSettingFilterRule rule;
  rule.ids = std::vector<int>{task_id};
  std::list<TaviSetting> tasks;
  if (TaviSetting::Enum(rule, tasks) != 0 || tasks.empty()) return {};
  return tasks.front().Data().owner_zr_id.Get();
}

int SaveWidget(const CountingWidget& widget, TAVI_COUNTING_WIDGET_TYPE type, const char* points_key,
               const std::vector<Point>& points) {
  const Optional<int> owner = OwnerOfTask(widget.taskId);
  if (!owner) return -1;
  Json::Value json = widget.others;
  json["id"] = widget.id;
  json["iva_setting_id"] = widget.taskId;
  json["id_on_rec_server"] = widget.idOnRecServer;
  json["name"] = widget.name;
  json["type"] = type;
  json["detect_type"] = widget.detectType;
  json["calculation_type"] = widget.calculationType;
  json["owner_zr_id"] = owner.Value();
  json["capacity"] = widget.capacity;
  json[points_key] = PointsToJson(points);
  TaviCountingWidget row;
  CountingWidgetTable().TakeJson(row.Data().table(), json);
  return CountingWidgetTable().Save(row);
}

int DeleteWidget(int id, TAVI_COUNTING_WIDGET_TYPE type) {
  return CountingWidgetTable().DeleteRows(qv::record::Where().Is("id", id).Is("type", static_cast<int>(type)), id);
}

}  // namespace

Optional<RegionWidget> CountingWidgetConverter::Convert2RegionWidget(const Json::Value& json) {
  return Convert(json, "region", kFewestCorners, &RegionWidget::region);
}
Optional<FenceWidget> CountingWidgetConverter::Convert2FenceWidget(const Json::Value& json) {
  return Convert(json, "fence", kFewestFencePoints, &FenceWidget::fence);
}

int DbRegionWidgetStorage::Save(const RegionWidget& widget) const {
  return SaveWidget(widget, COUNTING_WIDGET_TYPE_REGION, "region", widget.region);
}
int DbRegionWidgetStorage::DeleteById(int id) const { return DeleteWidget(id, COUNTING_WIDGET_TYPE_REGION); }

int DbFenceWidgetStorage::Save(const FenceWidget& widget) const {
  return SaveWidget(widget, COUNTING_WIDGET_TYPE_FENCE, "fence", widget.fence);
}
int DbFenceWidgetStorage::DeleteById(int id) const { return DeleteWidget(id, COUNTING_WIDGET_TYPE_FENCE); }

std::map<std::pair<int, int>, int> GetWidgetCmsInfo2IdMap() {
  std::map<std::pair<int, int>, int> ids;
  qv::record::Attempt("list", "counting_widget", 0, [&] {
    qv::db::Query query =
        qv::db::ThisThread().Prepare("SELECT owner_zr_id,id_on_rec_server,id FROM counting_widget ORDER BY id");
    while (query.Next()) {
      const qv::db::Statement& row = query.Row();
      const std::pair<int, int> key(static_cast<int>(row.Int(0)), static_cast<int>(row.Int(1)));
      ids[key] = static_cast<int>(row.Int(2));
    }
  });
  return ids;
}

}  // namespace QvObjectCounting
