#include "axisdoors.h"

#include <unordered_map>
#include <vector>

#include "../db/database.h"
#include "../record/attempt.h"
#include "../record/import.h"
#include "tables.h"

namespace qv::devices {

const DoorTableType& DoorTable() {
  static const DoorTableType table("axis_door", {.own_keys = {"id"}});
  return table;
}

namespace {

/// A door entry as its server reports it, in the host's terms.
Json::Value InHostTerms(const Json::Value& reported, int zr_id, HostIdLookup& lookup) {
  Json::Value entry = reported;
  entry[kHostTermsKey] = record::EntryId(reported);
  const Json::Value& camera = reported["cam_id"];
  const int camera_id = camera.isInt() ? lookup.Find(CameraTable(), camera.asInt()) : 0;
  entry["cam_id"] = camera_id;
  entry["cam_zr_id"] = camera_id == 0 ? 0 : zr_id;
  return entry;
}

}  // namespace

void LoadDoors(std::list<AxisAcsCtrler>& list, const record::Where& selection) {
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
  std::vector<AxisDoor*> held;  // a list's elements stay where they are when doors are added
  std::unordered_map<int, AxisDoor*> by_host_id;
  for (AxisDoor& door : doors) {
    held.push_back(&door);
    if (door.GetId() != 0) by_host_id.emplace(door.GetId(), &door);
  }
  const auto door_of = [&](const Json::Value& entry, std::size_t position) -> AxisDoor& {
    if (!entry.isMember(kHostTermsKey)) return position < held.size() ? *held[position] : doors.emplace_back();
    const auto found = by_host_id.find(record::EntryId(entry));
    return found != by_host_id.end() ? *found->second : doors.emplace_back();
  };
  for (Json::ArrayIndex i = 0; i < reported.size(); ++i) {
    const Json::Value& entry = reported[i];
    if (!entry.isObject()) continue;
    AxisDoor& door = door_of(entry, i);
    Json::Value known = entry.isMember(kHostTermsKey) ? entry : InHostTerms(entry, zr_id, lookup);
    known["id"] = door.GetId();  // an id that is none of this controller's doors is not taken over
    door.SetByJson(known);
  }
}

void SaveDoors(std::list<AxisDoor>& doors, const AxisAcsCtrler& ctrler) {
  for (AxisDoor& door : doors) {
    door.SetCtrlerId(ctrler.GetId());
    door.SetOwnerZrId(ctrler.GetOwnerZrId());
    DoorTable().Save(door);
  }
}

}  // namespace qv::devices
