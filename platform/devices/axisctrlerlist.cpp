/// Which controllers a filter rule means.
#include <algorithm>
#include <functional>
#include <unordered_set>
#include <utility>

#include "axisacsctrler.h"
#include "db/database.h"
#include "devices/axisdoors.h"
#include "devices/listing.h"
#include "devices/tables.h"
#include "record/attempt.h"

namespace qv::devices {
namespace {

/// A statement has a limited number of parameters, and its preparation takes time by the square of their number.
constexpr std::size_t kMostIdsPerStatement = 512;

record::Where Selection(const AxisAcsCtrlerFilterRule& rule) {
  record::Where where;
  if (rule.enabledOnly) where.Is("enabled", 1);
  if (rule.hostLocalOnly) where.Is("owner_zr_id", 0);
  if (!rule.ids.empty() && rule.ids.size() <= kMostIdsPerStatement) where.In("id", rule.ids);
  if (!rule.statuses.empty()) where.In("status", rule.statuses);
  if (!rule.ownerZrIds.empty()) where.In("owner_zr_id", rule.ownerZrIds);
  return where;
}

bool HasKeyword(const AxisAcsCtrler& ctrler, const std::string& keyword) {
  const std::string* const texts[] = {&ctrler.GetName(), &ctrler.GetHost(), &ctrler.GetMacAddr()};
  return std::any_of(std::begin(texts), std::end(texts),
                     [&](const std::string* text) { return text->find(keyword) != std::string::npos; });
}

template <class Accepts>
bool HasDoor(const AxisAcsCtrler& ctrler, Accepts&& accepts) {
  return std::any_of(ctrler.GetDoorList().begin(), ctrler.GetDoorList().end(), accepts);
}

/// The criteria that the database is not asked for.
bool IsMeant(const AxisAcsCtrler& ctrler, const AxisAcsCtrlerFilterRule& rule) {
  const auto listed = [&](const AxisDoor& door) {
    return std::find(rule.doorIds.begin(), rule.doorIds.end(), door.GetId()) != rule.doorIds.end();
  };
  const auto watched = [&](const AxisDoor& door) { return rule.cameraIds.count(door.GetCamId()) > 0; };
  return (ctrler.GetDeviceStatusFlags() & rule.statusFlags) == rule.statusFlags &&
         static_cast<int>(ctrler.GetDoorList().size()) >= rule.minDoors &&
         (rule.doorIds.empty() || HasDoor(ctrler, listed)) && (rule.cameraIds.empty() || HasDoor(ctrler, watched)) &&
         HasKeyword(ctrler, rule.keyword);
}

/// Puts a list that is in order of the ids into the rule's order.
void Sort(std::list<AxisAcsCtrler>& list, const AxisAcsCtrlerFilterRule& rule) {
  const auto by = [&](auto&& value) {
    list.sort(
        [&](const AxisAcsCtrler& a, const AxisAcsCtrler& b) { return std::invoke(value, a) < std::invoke(value, b); });
  };
  if (rule.order == ACS_CTRLER_ORDER_NAME) by(&AxisAcsCtrler::GetName);
  if (rule.order == ACS_CTRLER_ORDER_HOST) by(&AxisAcsCtrler::GetHost);
  if (rule.order == ACS_CTRLER_ORDER_MODEL) by(&AxisAcsCtrler::GetModel);
  if (rule.order == ACS_CTRLER_ORDER_STATUS) by(&AxisAcsCtrler::GetStatus);
  if (rule.descending) list.reverse();
}

/// Throws `db::Error`.
std::list<AxisAcsCtrler> Load(const AxisAcsCtrlerFilterRule& rule) {
  const record::Where selection = Selection(rule);
  std::list<AxisAcsCtrler> list = CtrlerTable().Select(selection);
  if (rule.withDoors || rule.minDoors > 0 || !rule.doorIds.empty() || !rule.cameraIds.empty()) {
    LoadDoors(list, selection);
  }
  if (const std::unordered_set<int> ids(rule.ids.begin(), rule.ids.end()); !ids.empty()) {
    list.remove_if([&](const AxisAcsCtrler& ctrler) { return !ids.contains(ctrler.GetId()); });
  }
  list.remove_if([&](const AxisAcsCtrler& ctrler) { return !IsMeant(ctrler, rule); });
  Sort(list, rule);
  KeepPage(list, rule.start, rule.limit);
  return list;
}

void DeleteWithDoors(const std::list<int>& ids) {
  DoorTable().DeleteLater(record::Where().In("ctrler_id", ids));  // so that they count as removed
  CtrlerTable().DeleteLater(record::Where().In("id", ids));
}

}  // namespace

ListedCtrlers& LastListedCtrlers() {
  static thread_local ListedCtrlers listed;
  return listed;
}

}  // namespace qv::devices

using namespace qv;           // NOLINT(google-build-using-namespace): what follows is the package's interface
using namespace qv::devices;  // NOLINT(google-build-using-namespace)

int GetAcsCtrlerListByRule(const AxisAcsCtrlerFilterRule& rule, std::list<AxisAcsCtrler>& list) {
  list.clear();
  ListedCtrlers listed;
  const int result = record::Attempt("Failed to list controllers", [&] { list = Load(rule); });
  if (result == 0 && rule.ownerZrIds.size() == 1) {
    listed.zr_id = rule.ownerZrIds.front();
    for (const AxisAcsCtrler& ctrler : list) listed.ids.insert(ctrler.GetId());
  }
  LastListedCtrlers() = std::move(listed);
  return result;
}

int DeleteAcsCtrlerByRule(const AxisAcsCtrlerFilterRule& rule) {
  return record::Attempt("Failed to delete controllers", [&] {
    AxisAcsCtrlerFilterRule selection = rule;
    selection.withDoors = false;
    db::AllOrNothing whole;
    std::list<int> ids;
    for (const AxisAcsCtrler& ctrler : Load(selection)) {
      ids.push_back(ctrler.GetId());
      if (ids.size() == kMostIdsPerStatement) DeleteWithDoors(std::exchange(ids, {}));
    }
    if (!ids.empty()) DeleteWithDoors(ids);
    whole.Keep();
  });
}
