#include "axisacsctrler.h"

#include "db/database.h"
#include "devices/axisdoors.h"
#include "devices/hostids.h"
#include "devices/tables.h"
#include "record/attempt.h"
#include "record/import.h"
#include "recserversavers.h"

namespace qv::devices {

const CtrlerTableType& CtrlerTable() {
  static const CtrlerTableType table("axis_acs_ctrler", {.own_keys = {"id", "zr_id", kDoorKey}});
  return table;
}

namespace {

/// A server's controllers with their doors, in order of their ids. Throws `db::Error`.
std::list<AxisAcsCtrler> LoadCtrlersOf(int zr_id) {
  const record::Where of_the_server = record::Where().Is("owner_zr_id", zr_id);
  std::list<AxisAcsCtrler> list = CtrlerTable().Select(of_the_server);
  LoadDoors(list, of_the_server);
  return list;
}

/// A controller's entry taken over, with its doors. Throws `db::Error`; `ctrler` is unchanged then.
void TakeEntry(AxisAcsCtrler& ctrler, const Json::Value& entry, HostIdLookup& lookup) {
  std::list<AxisDoor> doors = ctrler.GetDoorList();
  const int owner = entry["zr_id"].isInt() ? entry["zr_id"].asInt() : ctrler.GetOwnerZrId();
  TakeDoors(doors, entry[kDoorKey], owner, lookup);
  ctrler.SetOwnerZrId(owner);
  if (entry["id"].isInt()) ctrler.SetId(entry["id"].asInt());
  CtrlerTable().Apply(ctrler, entry);
  ctrler.SetDoorList(doors);
}

/// The entry of a slave's section in the host's terms, for the host's controller of that id.
Json::Value InHostTerms(const Json::Value& reported, const AxisAcsCtrler& ctrler, int zr_id) {
  Json::Value entry = reported;
  entry["id_on_rec"] = record::IntIdOrZero(reported);
  entry["id"] = ctrler.GetId();
  entry["zr_id"] = zr_id;
  if (Json::Value& doors = entry[kDoorKey]; doors.isArray() || doors.isNull()) {
    for (Json::Value& door : doors) {
      if (door.isObject()) door.removeMember(kHostTermsKey);  // a slave does not speak the host's terms
    }
    // Doors that a snapshot does not list have no id and no camera on the slave.
    while (doors.size() < ctrler.GetDoorList().size()) doors.append(Json::Value(Json::objectValue));
  }
  return entry;
}

}  // namespace
}  // namespace qv::devices

using namespace qv;           // NOLINT(google-build-using-namespace): what follows is the package's interface
using namespace qv::devices;  // NOLINT(google-build-using-namespace)

int AxisDoor::SetByJson(const Json::Value& entry) {
  if (!entry.isObject()) return 0;
  if (entry["id"].isInt()) SetId(entry["id"].asInt());
  return DoorTable().Apply(*this, entry) ? 1 : 0;
}

int AxisDoor::Save() {
  if (GetId() == 0) return -1;  // a new door is saved with its controller
  return record::Attempt("Failed to save door [{}]", GetId(), [&] { DoorTable().SaveLater(*this); });
}

int AxisAcsCtrler::SetByJson(const Json::Value& entry) {
  if (!entry.isObject()) return 0;
  HostIdLookup lookup(entry["zr_id"].isInt() ? entry["zr_id"].asInt() : GetOwnerZrId());
  return record::Attempt("Failed to look up the cameras of controller [{}]", GetId(),
                         [&] { TakeEntry(*this, entry, lookup); }) == 0
             ? 1
             : 0;
}

int AxisAcsCtrler::Save() {
  const int id = GetId();
  std::list<AxisDoor> doors = doors_;
  const int result = record::Attempt("Failed to save controller [{}]", id, [&] {
    db::AllOrNothing whole;
    CtrlerTable().SaveLater(*this);
    SaveDoors(doors, *this);
    whole.Keep();
  });
  if (result != 0) {
    SetId(id);
  } else {
    doors_ = std::move(doors);
  }
  return result;
}

std::map<int, AxisAcsCtrler> GetCtrlerMapOnRec(int zrId) {
  std::map<int, AxisAcsCtrler> map;
  record::Attempt("Failed to list the controllers of server [{}]", zrId, [&] {
    for (AxisAcsCtrler& ctrler : LoadCtrlersOf(zrId)) map.emplace(ctrler.GetIdOnRec(), std::move(ctrler));
  });
  return map;
}

int GetDoorZrIdMap(std::unordered_map<int, int>& doorToZr) {
  doorToZr.clear();
  return record::Attempt("Failed to list doors", [&] {
    for (const AxisDoor& door : DoorTable().Select(record::Where()))
      doorToZr.emplace(door.GetId(), door.GetOwnerZrId());
  });
}

int SaveCtrlerFromRec(int zrId, const Json::Value& section) {
  const ListedCtrlers listed = std::exchange(LastListedCtrlers(), {});
  if (section.isNull()) return 0;
  return record::Attempt("Failed to import the controllers of server [{}]", zrId, [&] {
    std::list<AxisAcsCtrler> held = LoadCtrlersOf(zrId);
    if (listed.zr_id == zrId) {
      held.remove_if([&](const AxisAcsCtrler& ctrler) { return listed.ids.contains(ctrler.GetId()); });
    }
    HostIdLookup lookup(zrId);
    const auto take = [&](AxisAcsCtrler& ctrler, const Json::Value& entry) {
      if (!entry.isObject()) return;
      TakeEntry(ctrler, InHostTerms(entry, ctrler, zrId), lookup);
      ctrler.Save();
    };
    record::ImportSection(std::move(held), zrId, section, record::IntIdOrZero, take, [](const AxisAcsCtrler&) {});
  });
}
