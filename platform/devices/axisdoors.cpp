#include "devices/axisdoors.h"

#include <unordered_map>

#include "db/database.h"
#include "devices/tables.h"
#include "record/attempt.h"
#include "record/import.h"

namespace qv::devices {

const DoorTableType& DoorTable() {
  static const DoorTableType table("axis_door", {.own_keys = {"id"}});
  return table;
}

namespace {

/// Whether someone has put the entry into the host's terms, for this door. A server may use the key for itself.
bool IsInHostTerms(const Json::Value& entry, const AxisDoor& door) {
  return entry.isObject() && entry.isMember(kHostTermsKey) && record::IntIdOrZero(entry) == door.GetId();
}

/// A door entry as its server reports it, in the host's terms.
Json::Value InHostTerms(const Json::Value& reported, int host_id, int zr_id, HostIdLookup& lookup) {
  Json::Value entry = reported;
  entry[kHostTermsKey] = record::IntIdOrZero(reported);
  entry["id"] = host_id;
  const Json::Value& camera = reported["cam_id"];
  const int camera_id = camera.isInt() ? lookup.Find(CameraTable(), camera.asInt()) : 0;
  entry["cam_id"] = camera_id;
  entry["cam_zr_id"] = camera_id == 0 ? 0 : zr_id;
  return entry;
}

}  // namespace

void LoadDoors(std::list<AxisAcsCtrler>& list, const record::Where& selection) {
  if (list.empty()) return;
  std::unordered_map<int, std::list<AxisDoor>> doors;
  for (AxisDoor& door : DoorTable().Select(record::Where().InRowsOf("ctrler_id", CtrlerTable().name(), selection))) {
    doors[door.GetCtrlerId()].push_back(std::move(door));
  }
  for (AxisAcsCtrler& ctrler : list) {
    if (const auto found = doors.find(ctrler.GetId()); found != doors.end()) ctrler.SetDoorList(found->second);
  }
}

void TakeDoors(std::list<AxisDoor>& doors, const Json::Value& reported, int zr_id, HostIdLookup& lookup) {
  if (!reported.isArray()) return;
  auto next = doors.begin();
  for (const Json::Value& entry : reported) {
    const bool is_new = next == doors.end();
    AxisDoor& door = is_new ? doors.emplace_back() : *next++;
    if (!is_new && IsInHostTerms(entry, door)) {
      door.SetByJson(entry);
    } else if (entry.isObject()) {
      door.SetByJson(InHostTerms(entry, door.GetId(), zr_id, lookup));
    } else if (is_new) {
      doors.pop_back();
    }
  }
}

void SaveDoors(std::list<AxisDoor>& doors, const AxisAcsCtrler& ctrler) {
  for (AxisDoor& door : doors) {
    door.SetCtrlerId(ctrler.GetId());
    door.SetOwnerZrId(ctrler.GetOwnerZrId());
    DoorTable().SaveLater(door);
  }
}

}  // namespace qv::devices
