#include "status/ctrlerstatus.h"

#include <algorithm>
#include <list>
#include <map>
#include <string>
#include <unordered_map>

#include "axisacsctrler.h"
#include "camera.h"

namespace {

/// The member's value if it is an integer, else 0.
int IntOf(const Json::Value& elem, const char* key) { return elem[key].isInt() ? elem[key].asInt() : 0; }

/// The member's value if it is a text, else the empty one.
std::string TextOf(const Json::Value& elem, const char* key) {
  return elem[key].isString() ? elem[key].asString() : "";
}

/// The doors by their ids on the slave; of several with one id, the first.
template <class Doors>
auto IndexOf(Doors& doors) {
  std::unordered_map<int, decltype(&doors.front())> index;
  for (auto& door : doors) index.try_emplace(door.GetIdOnRecServer(), &door);
  return index;
}

/// With equal numbers of doors, one that was swapped for another is no change: it shows with the next other one.
bool IsChanged(const AxisAcsCtrler& ctrler, int status, const std::string& macAddr, const Json::Value& reportedDoors) {
  if (ctrler.GetStatus() != status) return true;
  if (ctrler.GetMacAddr() != macAddr) return true;
  const std::list<AxisDoor>& doors = ctrler.GetDoorList();
  if (doors.size() != reportedDoors.size()) return true;
  const auto index = IndexOf(doors);
  return std::any_of(reportedDoors.begin(), reportedDoors.end(), [&](const Json::Value& reported) {
    const auto door = index.find(IntOf(reported, "id"));
    return door != index.end() && door->second->GetStatus() != IntOf(reported, "status");
  });
}

/// A door that the host does not have yet, in the host's terms. It is saved with its controller.
AxisDoor NewDoor(const Json::Value& reported, std::map<int, Camera>& cameras) {
  Json::Value entry = reported;
  entry["id"] = 0;
  entry["id_on_rec"] = IntOf(reported, "id");
  const Camera& camera = cameras[IntOf(reported, "cam_id")];
  entry["cam_id"] = camera.GetId();
  entry["cam_zr_id"] = camera.GetOwnerZrId();
  AxisDoor door;
  door.SetByJson(entry);
  return door;
}

std::list<AxisDoor> UpdateDoors(std::list<AxisDoor> doors, const Json::Value& reportedDoors,
                                std::map<int, Camera>& cameras) {
  auto index = IndexOf(doors);
  for (const Json::Value& reported : reportedDoors) {
    const auto door = index.find(IntOf(reported, "id"));
    if (door == index.end()) {
      AxisDoor& added = doors.emplace_back(NewDoor(reported, cameras));
      index.try_emplace(added.GetIdOnRecServer(), &added);
    } else if (const int status = IntOf(reported, "status"); door->second->GetStatus() != status) {
      door->second->SetStatus(status);
      door->second->Save();
    }
  }
  return doors;
}

}  // namespace

void UpdateCtrlerStatus(const Json::Value& status, int zrId) {
  const Json::Value& section = status["ctrler_info"];
  if (section.empty()) return;
  std::map<int, AxisAcsCtrler> ctrlers = GetCtrlerMapOnRec(zrId);
  std::map<int, Camera> cameras;
  CamGetMapByZrId(cameras, zrId, MAP_KEY_ID_ON_REC_SERVER);
  for (const Json::Value& elem : section) {
    const auto found = ctrlers.find(IntOf(elem, "id"));
    if (found == ctrlers.end()) continue;
    AxisAcsCtrler& ctrler = found->second;
    const int reported_status = IntOf(elem, "status");
    const std::string mac_addr = TextOf(elem, "mac_addr");
    const Json::Value& doors = elem["door"];
    if (!IsChanged(ctrler, reported_status, mac_addr, doors)) continue;
    ctrler.SetDoorList(UpdateDoors(ctrler.GetDoorList(), doors, cameras));
    ctrler.SetStatus(static_cast<ACSCTRL_STATUS>(reported_status));
    ctrler.SetMacAddr(mac_addr);
    ctrler.Save();
  }
}
