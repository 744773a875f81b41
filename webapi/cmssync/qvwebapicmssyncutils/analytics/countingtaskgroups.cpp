#include "countingtaskgroups.h"

#include <list>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "frame/logmessage.h"
#include "qvobjectcounting.h"

namespace {

using QvObjectCounting::CountingTaskGroup;
using Storage = QvObjectCounting::TaviCountingTaskGroup::Storage;
using WidgetIds = std::map<std::pair<int, int>, int>;

constexpr char kFunction[] = "UpdateCountingTaskGroupInfo";

/// The host's ids of the slave's widgets, without those that the host does not know.
std::list<int> ToHostIds(const std::list<int>& slaveIds, int zrId, const WidgetIds& widgets) {
  std::list<int> host_ids;
  for (const int id : slaveIds) {
    if (const auto found = widgets.find({zrId, id}); found != widgets.end()) {
      host_ids.push_back(found->second);
    } else {
      CMS_LOG_AT(1, 299, kFunction, "Failed to find widget id [%d] on ZR id [%d].\n", id, zrId);
    }
  }
  return host_ids;
}

/// Saves the entry under the host id that the group already has, if any. @return the host id; empty after a message
Optional<int> SaveGroup(const Json::Value& element, int zrId, const WidgetIds& widgets) {
  const Optional<CountingTaskGroup> reported = CountingTaskGroup::CreateCountingTaskGroupFromJson(element);
  if (!reported) {
    CMS_LOG_AT(1, 291, kFunction, "Failed to convert json to counting task group.\n");
    return {};
  }
  CountingTaskGroup group = reported.Value();
  std::list<int> host_widgets = ToHostIds(group.widgetIds, zrId, widgets);
  const int slave_id = group.id;
  const Optional<CountingTaskGroup> known = Storage().LoadByIdOnRecServer(slave_id, zrId);
  group.widgetIds = std::move(host_widgets);
  group.idOnRecServer = slave_id;
  group.id = known ? known.Value().id : 0;
  group.ownerZrId = zrId;
  const Optional<int> saved = Storage().Save(group);
  if (!saved) {
    // Names the row that was not written; 0 for a group that the host has not had.
    CMS_LOG_AT(1, 318, kFunction, "Failed to save id [%d] on zr id [%d] counting task group to db.\n", group.id, zrId);
  }
  return saved;
}

}  // namespace

void UpdateCountingTaskGroupInfo(const Json::Value& info, int zrId) {
  if (!info.isMember("counting_task_group_info")) return;
  const WidgetIds widgets = QvObjectCounting::GetWidgetCmsInfo2IdMap();
  std::set<int> saved_ids;
  for (const Json::Value& element : info["counting_task_group_info"]) {
    if (const Optional<int> saved = SaveGroup(element, zrId, widgets)) saved_ids.insert(saved.Value());
  }

  const Optional<std::vector<CountingTaskGroup>> stored = Storage().LoadByOwnerZrId(zrId);
  if (!stored) {
    CMS_LOG_AT(1, 327, kFunction, "Failed to load all task groups on ZR id [%d].\n", zrId);
    return;
  }
  for (const CountingTaskGroup& group : stored.Value()) {
    if (saved_ids.contains(group.id)) continue;
    CMS_LOG_AT(5, 333, kFunction, "Delete counting task group [%d] from db.\n", group.id);
    Storage().DeleteById(group.id);
  }
}
