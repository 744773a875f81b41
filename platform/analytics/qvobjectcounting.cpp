#include "qvobjectcounting.h"

#include <algorithm>
#include <cmath>

#include "analytics/columns.h"
#include "analytics/entryreader.h"
#include "analytics/tables.h"
#include "analytics/takenrows.h"
#include "db/database.h"
#include "record/attempt.h"

namespace QvObjectCounting {
namespace {

using qv::analytics::CountingWidgetTable;
using qv::analytics::EntryReader;
using qv::analytics::TakenRows;

constexpr std::size_t kFewestCorners = 3;
constexpr std::size_t kFewestFencePoints = 2;

bool IsPlace(const Json::Value& json) {
  return json.isObject() && json["x"].isNumeric() && json["y"].isNumeric() && std::isfinite(json["x"].asDouble()) &&
         std::isfinite(json["y"].asDouble());
}

/// Whether `json` is a list of at least `fewest` places.
bool ArePoints(const Json::Value& json, std::size_t fewest) {
  return json.isArray() && json.size() >= fewest && std::all_of(json.begin(), json.end(), IsPlace);
}

template <class Widget>
Optional<Widget> Convert(const Json::Value& json, const char* points_key, std::size_t fewest_points) {
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
  widget.points = entry.Take(points_key);
  if (!ArePoints(widget.points, fewest_points) || !entry.fits()) return {};
  widget.others = entry.Rest();
  return widget;
}

/// The server that a task of the host was copied from; empty when there is no such task or it cannot be read.
Optional<int> OwnerOfTask(int task_id) {
  Optional<int> owner;
  qv::record::Attempt("Failed to look up the server of IVA task [{}]", task_id, [&] {
    qv::db::Query query = qv::db::ThisThread().Prepare("SELECT owner_zr_id FROM iva_task WHERE id=$1");
    if (query.Bind(task_id).Next()) owner = static_cast<int>(query.Row().Int(0));
  });
  return owner;
}

/// Makes the row the one that counts among those with its id on the slave: a widget that has moved to another task and
/// back has a row under each. Of several entries with one id, the first counts. Throws `db::Error`.
void MakeCurrent(const CountingWidget& widget, int row_id, int owner) {
  if (owner == 0) return;
  qv::db::Query query = qv::db::ThisThread().Prepare(
      "UPDATE counting_widget SET precedence=(SELECT MAX(precedence)+1 FROM counting_widget WHERE id_on_rec_server=$1 "
      "AND owner_zr_id=$2) WHERE id=$3 AND EXISTS (SELECT 1 FROM counting_widget AS other WHERE "
      "other.id_on_rec_server=$1 AND other.owner_zr_id=$2 AND (other.precedence,other.id)>"
      "(counting_widget.precedence,counting_widget.id))");
  query.Bind(widget.idOnRecServer)
      .Bind(owner)
      .Bind(TakenRows::FirstRowOfWidget(widget.idOnRecServer, row_id))
      .RunLater();
}

int SaveWidget(const CountingWidget& widget, TAVI_COUNTING_WIDGET_TYPE type, const char* points_key) {
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
  json[points_key] = widget.points;
  return qv::record::Attempt("Failed to save counting widget [{}]", widget.id, [&] {
    TaviCountingWidget row;
    qv::analytics::TakeJson(CountingWidgetTable().schema(), row.Data().table(), json);
    qv::analytics::Save(CountingWidgetTable(), row);
    TakenRows::Add(CountingWidgetTable(), row.GetId());
    MakeCurrent(widget, row.GetId(), owner.Value());
  });
}

int DeleteWidget(int id, TAVI_COUNTING_WIDGET_TYPE type) {
  return qv::record::Attempt("Failed to delete counting widget [{}]", id, [&] {
    CountingWidgetTable().DeleteLater(qv::record::Where().Is("id", id).Is("type", static_cast<int>(type)));
  });
}

}  // namespace

Optional<RegionWidget> CountingWidgetConverter::Convert2RegionWidget(const Json::Value& json) {
  return Convert<RegionWidget>(json, "region", kFewestCorners);
}
Optional<FenceWidget> CountingWidgetConverter::Convert2FenceWidget(const Json::Value& json) {
  return Convert<FenceWidget>(json, "fence", kFewestFencePoints);
}

int DbRegionWidgetStorage::Save(const RegionWidget& widget) const {
  return SaveWidget(widget, COUNTING_WIDGET_TYPE_REGION, "region");
}
int DbRegionWidgetStorage::DeleteById(int id) const { return DeleteWidget(id, COUNTING_WIDGET_TYPE_REGION); }

int DbFenceWidgetStorage::Save(const FenceWidget& widget) const {
  return SaveWidget(widget, COUNTING_WIDGET_TYPE_FENCE, "fence");
}
int DbFenceWidgetStorage::DeleteById(int id) const { return DeleteWidget(id, COUNTING_WIDGET_TYPE_FENCE); }

std::map<std::pair<int, int>, int> GetWidgetCmsInfo2IdMap() {
  std::map<std::pair<int, int>, int> ids;
  qv::db::Query query = qv::db::ThisThread().Prepare(
      "SELECT owner_zr_id,id_on_rec_server,id FROM counting_widget ORDER BY precedence,id");
  while (query.Next()) {
    const qv::db::Statement& row = query.Row();
    const std::pair<int, int> key(static_cast<int>(row.Int(0)), static_cast<int>(row.Int(1)));
    ids[key] = static_cast<int>(row.Int(2));
  }
  return ids;
}

}  // namespace QvObjectCounting
