/// The doors of access controllers: a table of their own, one row per door.
#pragma once

#include <json/value.h>

#include <list>
#include <unordered_set>

#include "axisacsctrler.h"
#include "devices/hostids.h"
#include "record/table.h"

namespace qv::devices {

/// The key under which an entry reports a controller's doors.
inline constexpr const char* kDoorKey = "door";
/// An entry in the host's terms has the id on its server under this key.
inline constexpr const char* kHostTermsKey = "id_on_rec";

/// Gives each controller of `list` its doors. @param selection the controllers that the list holds
void LoadDoors(std::list<AxisAcsCtrler>& list, const record::Where& selection);
/// Takes a controller's door entries as `AxisAcsCtrler::SetByJson` says. @param lookup ids on the controller's server
void TakeDoors(std::list<AxisDoor>& doors, const Json::Value& reported, int zr_id, HostIdLookup& lookup);
/// Writes the doors of a controller that has its row; new ones are given their host ids.
void SaveDoors(std::list<AxisDoor>& doors, const AxisAcsCtrler& ctrler);

/// The rows that this thread's caller was given with the list of a server's controllers. A snapshot's step matches its
/// entries with those and hands only the other entries to `SaveCtrlerFromRec`, which must leave those rows alone.
struct ListedCtrlers {
  int zr_id = 0;
  std::unordered_set<int> ids;
};
ListedCtrlers& LastListedCtrlers();

}  // namespace qv::devices
