#include <list>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "analytics/analyticssteps.h"
#include "frame/logmessage.h"
#include "qvobjectcounting.h"

namespace {

using QvObjectCounting::CountingTaskGroup;
using Storage = QvObjectCounting::TaviCountingTaskGroup::Storage;
using WidgetIds = std::map<std::pair<int, int>, int>;

constexpr char kFunction[] = "UpdateCountingTaskGroupInfo";

/// The host's ids of the slave's widgets. Leaves out, after a message, widgets that the host does not have.
std::list<int> ToHostIds(const std::list<int>& slave_ids, int zr_id, const WidgetIds& widgets) {
  std::list<int> host_ids;
  for (const int id : slave_ids) {
    if (const auto found = widgets.find({zr_id, id}); found != widgets.end()) {
      host_ids.push_back(found->second);
    } else {
      CMS_LOG_AT(1, 299, kFunction, "Failed to find widget id [%d] on ZR id [%d].\n", id, zr_id);
    }
  }
  return host_ids;
}

/// Saves the entry under the host id that the group already has, if any.
/// @return the host id; empty, after a message, on failure
Optional<int> SaveGroup(const Json::Value& element, int zr_id, const WidgetIds& widgets) {
  const Optional<CountingTaskGroup> reported = CountingTaskGroup::CreateCountingTaskGroupFromJson(element);
  if (!reported) {
    CMS_LOG_AT(1, 291, kFunction, "Failed to convert json to counting task group.\n");
    return {};
  }
  CountingTaskGroup group = reported.Value();
  std::list<int> host_widgets = ToHostIds(group.widgetIds, zr_id, widgets);
  const int slave_id = group.id;
  const Optional<CountingTaskGroup> known = Storage().LoadByIdOnRecServer(slave_id, zr_id);
  group.widgetIds = std::move(host_widgets);
  group.idOnRecServer = slave_id;
  group.id = known ? known.Value().id : 0;
  group.ownerZrId = zr_id;
  const Optional<int> saved = Storage().Save(group);
  if (!saved) {
    // The id is the host's: 0 for a group that is new to the host.
    CMS_LOG_AT(1, 318, kFunction, "Failed to save id [%d] on zr id [%d] counting task group to db.\n", group.id, zr_id);
  }
  return saved;
}

}  // namespace

void UpdateCountingTaskGroupInfo(const Json::Value& info, int zr_id) {
  if (!info.isMember("counting_task_group_info")) return;
  const WidgetIds widgets = QvObjectCounting::GetWidgetCmsInfo2IdMap();
  std::set<int> saved_ids;
  for (const Json::Value& element : info["counting_task_group_info"]) {
    if (const Optional<int> saved = SaveGroup(element, zr_id, widgets)) saved_ids.insert(saved.Value());
  }

  const Optional<std::vector<CountingTaskGroup>> stored = Storage().LoadByOwnerZrId(zr_id);
  if (!stored) {
    CMS_LOG_AT(1, 327, kFunction, "Failed to load all task groups on ZR id [%d].\n", zr_id);
    return;
  }
  for (const CountingTaskGroup& group : stored.Value()) {
    if (saved_ids.contains(group.id)) continue;
    CMS_LOG_AT(5, 333, kFunction, "Delete counting task group [%d] from db.\n", group.id);
    Storage().DeleteById(group.id);
  }
}
