#include <algorithm>
#include <list>
#include <map>
#include <string>
#include <unordered_map>

#include "axisacsctrler.h"
#include "camera.h"
#include "shared/ctrlerentry.h"
#include "status/statussteps.h"

namespace {

/// The member's value if it is a text, else the empty one.
std::string TextOf(const Json::Value& elem, const char* key) {
  return elem[key].isString() ? elem[key].asString() : "";
}

/// The doors by their ids on the slave; the first of several with one id.
template <class Doors>
auto IndexOf(Doors& doors) {
  std::unordered_map<int, decltype(&doors.front())> index;
  for (auto& door : doors) index.try_emplace(door.GetIdOnRecServer(), &door);
  return index;
}

/// A door that was swapped for another is not a change by itself: the controller is written with its next change.
bool IsChanged(const AxisAcsCtrler& ctrler, int status, const std::string& mac_addr,
               const Json::Value& reported_doors) {
  if (ctrler.GetStatus() != status) return true;
  if (ctrler.GetMacAddr() != mac_addr) return true;
  const std::list<AxisDoor>& doors = ctrler.GetDoorList();
  if (doors.size() != reported_doors.size()) return true;
  const auto index = IndexOf(doors);
  return std::any_of(reported_doors.begin(), reported_doors.end(), [&](const Json::Value& reported) {
    const auto door = index.find(IntOrZero(reported, "id"));
    return door != index.end() && door->second->GetStatus() != IntOrZero(reported, "status");
  });
}

/// Makes a door that the host does not have yet. It is saved with its controller.
AxisDoor NewDoor(const Json::Value& reported, std::map<int, Camera>& cameras) {
  Json::Value entry = reported;
  entry["id"] = 0;
  entry["id_on_rec"] = IntOrZero(reported, "id");
  SetHostCamera(entry, cameras);
  AxisDoor door;
  door.SetByJson(entry);
  return door;
}

std::list<AxisDoor> UpdateDoors(std::list<AxisDoor> doors, const Json::Value& reported_doors,
                                std::map<int, Camera>& cameras) {
  auto index = IndexOf(doors);
  for (const Json::Value& reported : reported_doors) {
    const auto door = index.find(IntOrZero(reported, "id"));
    if (door == index.end()) {
      AxisDoor& added = doors.emplace_back(NewDoor(reported, cameras));
      index.try_emplace(added.GetIdOnRecServer(), &added);
    } else if (const int status = IntOrZero(reported, "status"); door->second->GetStatus() != status) {
      door->second->SetStatus(status);
      door->second->Save();
    }
  }
  return doors;
}

}  // namespace

void UpdateCtrlerStatus(const Json::Value& status, int zr_id) {
  const Json::Value& section = status["ctrler_info"];
  if (section.empty()) return;
  std::map<int, AxisAcsCtrler> ctrlers = GetCtrlerMapOnRec(zr_id);
  std::map<int, Camera> cameras;
  CamGetMapByZrId(cameras, zr_id, MAP_KEY_ID_ON_REC_SERVER);
  for (const Json::Value& elem : section) {
    const auto found = ctrlers.find(IntOrZero(elem, "id"));
    if (found == ctrlers.end()) continue;
    AxisAcsCtrler& ctrler = found->second;
    const int reported_status = IntOrZero(elem, "status");
    const std::string mac_addr = TextOf(elem, "mac_addr");
    const Json::Value& doors = elem["door"];
    if (!IsChanged(ctrler, reported_status, mac_addr, doors)) continue;
    ctrler.SetDoorList(UpdateDoors(ctrler.GetDoorList(), doors, cameras));
    ctrler.SetStatus(static_cast<ACSCTRL_STATUS>(reported_status));
    ctrler.SetMacAddr(mac_addr);
    ctrler.Save();
  }
}
