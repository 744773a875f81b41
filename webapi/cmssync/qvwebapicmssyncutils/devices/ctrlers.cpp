#include "ctrlers.h"

#include <functional>
#include <map>

#include "axisacsctrler.h"
#include "camera.h"
#include "frame/idlist.h"
#include "frame/logmessage.h"
#include "frame/rowsbyid.h"
#include "messagedaemon.h"
#include "recserversavers.h"

namespace {

/// What `object` holds under `key` if it is an int, else 0.
int IntOrZero(const Json::Value& object, const char* key) {
  const Json::Value& value = object[key];
  return value.isInt() ? value.asInt() : 0;
}

/// A slave's entry in the host's terms, for the host's copy of the controller.
///
/// Doors are paired by position alone, since a slave may give a door a new id when it learns the controller anew. There
/// are as many pairs as the host has doors: one that the slave did not list gets an entry, so that nothing of the slave
/// stays with it; one that the host does not have is left to `SetByJson` as it came.
Json::Value InHostTerms(const Json::Value& item, const AxisAcsCtrler& ctrler, int zr_id,
                        std::map<int, Camera>& cameras) {
  Json::Value entry = item;
  entry["id_on_rec"] = IntOrZero(item, "id");
  entry["id"] = ctrler.GetId();
  entry["zr_id"] = zr_id;
  Json::ArrayIndex position = 0;
  for (const AxisDoor& host_door : ctrler.GetDoorList()) {
    Json::Value& door = entry["door"][position++];
    door["id_on_rec"] = IntOrZero(door, "id");
    door["id"] = host_door.GetId();
    const Camera& camera = cameras[IntOrZero(door, "cam_id")];  // an unknown camera counts as a blank one
    door["cam_id"] = camera.GetId();
    door["cam_zr_id"] = camera.GetOwnerZrId();
  }
  return entry;
}

void RemoveExtraCtrlers(int zr_id, const std::list<AxisAcsCtrler>& extra) {
  if (extra.empty()) return;
  AxisAcsCtrlerFilterRule rule;
  rule.ids = Transform2List(extra, std::mem_fn(&AxisAcsCtrler::GetId));
  if (DeleteAcsCtrlerByRule(rule) == 0) {
    SendUpdateMsgToMsgD(MSG_CMD_ACS_CTRLER_UPDATE, rule.ids, UPDATE_TYPE_DELETED, false, "", {});
  } else {
    CMS_LOG(3, "RemoveExtraCtrlers", "Failed to delete extra Ctrlers [%s] on Zr [%d]\n",
            Iter2String(rule.ids.begin(), rule.ids.end(), ",").c_str(), zr_id);
  }
}

}  // namespace

int UpdateCtrlerData(int zrId, const Json::Value& ctrlers) {
  AxisAcsCtrlerFilterRule rule;
  rule.ownerZrIds = {zrId};
  std::list<AxisAcsCtrler> list;
  if (GetAcsCtrlerListByRule(rule, list) != 0) {
    CMS_LOG_ALWAYS("UpdateCtrlerData", "Failed to get access ctrler list.\n");
    return -1;
  }
  std::map<int, Camera> cameras;
  CamGetMapByZrId(cameras, zrId, MAP_KEY_ID_ON_REC_SERVER);

  RowsById<AxisAcsCtrler> rows(std::move(list), std::mem_fn(&AxisAcsCtrler::GetIdOnRec));
  Json::Value added;
  for (const Json::Value& item : ctrlers) {
    std::list<AxisAcsCtrler> row = rows.Take(IntOrZero(item, "id"));
    if (row.empty()) {
      added.append(item);
      continue;
    }
    AxisAcsCtrler& ctrler = row.front();
    ctrler.SetByJson(InHostTerms(item, ctrler, zrId, cameras));
    ctrler.Save();
  }
  SaveCtrlerFromRec(zrId, added);
  RemoveExtraCtrlers(zrId, rows.TakeRest());
  return 0;
}
