#include "analytics/entryreader.h"
#include "analytics/tables.h"
#include "analytics/takenrows.h"
#include "db/database.h"
#include "json/storable.h"
#include "qvjson.h"
#include "qvobjectcounting.h"
#include "record/attempt.h"
#include "record/fieldvalue.h"

#define TASK_GROUP_FIELDS(FIELD)                                          \
  FIELD(TaskGroupData, int, Id, "id", HostId)                             \
  FIELD(TaskGroupData, int, IdOnRecServer, "id_on_rec_server", IdOnSlave) \
  FIELD(TaskGroupData, int, OwnerZrId, "owner_zr_id", Owner)              \
  FIELD(TaskGroupData, std::string, Name, "name", Config)                 \
  FIELD(TaskGroupData, JsonText, Extra, "extra", Extra)

QV_DECLARE_FIELDS(TaskGroupData, TASK_GROUP_FIELDS)

#define TASK_GROUP_WIDGET_FIELDS(FIELD)                                                               \
  FIELD(TaskGroupWidgetData, int, Id, "id", HostId)                                                   \
  FIELD(TaskGroupWidgetData, int, GroupId, "group_id", HostOnly, .references = "counting_task_group") \
  FIELD(TaskGroupWidgetData, int, Position, "position", HostOnly)                                     \
  FIELD(TaskGroupWidgetData, int, WidgetId, "widget_id", HostOnly, .references = "counting_widget")

QV_DECLARE_FIELDS(TaskGroupWidgetData, TASK_GROUP_WIDGET_FIELDS)

namespace qv::analytics {
namespace {

using record::Where;

class GroupRow : public TaggedRecord<TaskGroupData::Fields> {};
class GroupWidgetRow : public TaggedRecord<TaskGroupWidgetData::Fields> {};

const record::Table<GroupWidgetRow>& WidgetTable() {
  static const record::Table<GroupWidgetRow> table("counting_task_group_widget");
  return table;
}

/// The widgets of the groups that `groups` means, by group, in order of their positions.
std::map<int, std::list<int>> WidgetsOf(const Where& groups) {
  std::map<int, std::map<int, int>> by_position;
  for (const GroupWidgetRow& row : WidgetTable().Select(Where().InRowsOf("group_id", "counting_task_group", groups))) {
    by_position[row.GetGroupId()][row.GetPosition()] = row.GetWidgetId();
  }
  std::map<int, std::list<int>> widgets;
  for (const auto& [group, positions] : by_position) {
    for (const auto& [position, widget] : positions) widgets[group].push_back(widget);
  }
  return widgets;
}

/// Gives each listed group its widgets.
void ListWidgets(const Where& groups, std::vector<record::ListedRow>& rows) {
  std::map<int, std::list<int>> widgets = WidgetsOf(groups);
  for (record::ListedRow& row : rows) {
    Json::Value ids(Json::arrayValue);
    for (const int id : widgets[row.front().second.asInt()]) ids.append(id);
    row.emplace_back("widget_ids", std::move(ids));
  }
}

const record::Table<GroupRow>& Groups() {
  static const record::Table<GroupRow> table("counting_task_group", {.complete_listing = ListWidgets});
  return table;
}

void SaveWidgets(int group_id, const std::list<int>& widgets) {
  const Where of_this_group = Where().Is("group_id", group_id);
  if (WidgetsOf(Where().Is("id", group_id))[group_id] == widgets) return;
  WidgetTable().DeleteLater(of_this_group);
  int position = 0;
  for (const int widget : widgets) {
    GroupWidgetRow row;
    row.SetGroupId(group_id);
    row.SetPosition(position++);
    row.SetWidgetId(widget);
    WidgetTable().SaveLater(row);
  }
}

std::vector<QvObjectCounting::CountingTaskGroup> Load(const Where& where) {
  std::map<int, std::list<int>> widgets = WidgetsOf(where);
  std::vector<QvObjectCounting::CountingTaskGroup> groups;
  for (const GroupRow& row : Groups().Select(where)) {
    groups.push_back({.id = row.GetId(),
                      .idOnRecServer = row.GetIdOnRecServer(),
                      .ownerZrId = row.GetOwnerZrId(),
                      .widgetIds = std::move(widgets[row.GetId()]),
                      .name = row.GetName(),
                      .others = record::ParseStored(row.GetExtra().text)});
  }
  return groups;
}

}  // namespace

const record::AnyTable& TaskGroupTable() { return Groups(); }
const record::AnyTable& TaskGroupWidgetTable() { return WidgetTable(); }

}  // namespace qv::analytics

namespace QvObjectCounting {

using namespace qv;             // NOLINT(google-build-using-namespace): what follows is the package's interface
using namespace qv::analytics;  // NOLINT(google-build-using-namespace)

Optional<CountingTaskGroup> CountingTaskGroup::CreateCountingTaskGroupFromJson(const Json::Value& json) {
  if (!json.isObject() || !json["id"].isInt()) return {};
  CountingTaskGroup group;
  EntryReader entry(json);
  entry.Read("id", group.id);
  entry.Read("name", group.name);
  for (const char* const key : {"id_on_rec_server", "owner_zr_id"}) entry.Take(key);  // the host's to say
  const Json::Value widgets = entry.Take("widget_ids");
  if (!entry.fits() || !(widgets.isNull() || widgets.isArray())) return {};
  for (const Json::Value& widget : widgets) {
    if (!widget.isInt()) return {};
    group.widgetIds.push_back(widget.asInt());
  }
  group.others = entry.Rest();
  return group;
}

Optional<CountingTaskGroup> TaviCountingTaskGroup::Storage::LoadByIdOnRecServer(int idOnRecServer,
                                                                                int ownerZrId) const {
  Optional<CountingTaskGroup> group;
  record::Attempt("Failed to load a counting task group of server [{}]", ownerZrId, [&] {
    for (CountingTaskGroup& found : Load(Where().Is("owner_zr_id", ownerZrId).Is("id_on_rec_server", idOnRecServer))) {
      if (!group && !TakenRows::Has(Groups(), found.id)) group = std::move(found);
    }
  });
  return group;
}

Optional<int> TaviCountingTaskGroup::Storage::Save(const CountingTaskGroup& group) const {
  GroupRow row;
  row.SetId(group.id);
  row.SetIdOnRecServer(group.idOnRecServer);
  row.SetOwnerZrId(group.ownerZrId);
  row.SetName(group.name);
  if (!group.others.empty()) row.SetExtra({JsonWrite(group.others, true)});
  const int status = record::Attempt("Failed to save counting task group [{}]", group.id, [&] {
    if (const char* const reason = json::WhyNotStorable(group.others)) {
      throw db::Error(db::Error::Kind::Statement, reason);
    }
    db::AllOrNothing whole;
    Groups().SaveLater(row);
    SaveWidgets(row.GetId(), group.widgetIds);
    whole.Keep();
    TakenRows::Add(Groups(), row.GetId());
  });
  if (status != 0) return {};
  return row.GetId();
}

Optional<std::vector<CountingTaskGroup>> TaviCountingTaskGroup::Storage::LoadByOwnerZrId(int ownerZrId) const {
  Optional<std::vector<CountingTaskGroup>> groups;
  record::Attempt("Failed to list the counting task groups of server [{}]", ownerZrId,
                  [&] { groups = Load(Where().Is("owner_zr_id", ownerZrId)); });
  return groups;
}

int TaviCountingTaskGroup::Storage::DeleteById(int id) const {
  return record::Attempt("Failed to delete counting task group [{}]", id,
                         [&] { Groups().DeleteLater(Where().Is("id", id)); });
}

}  // namespace QvObjectCounting
