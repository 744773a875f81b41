#include <functional>
#include <map>

#include "axisacsctrler.h"
#include "camera.h"
#include "devices/devicesteps.h"
#include "frame/idlist.h"
#include "frame/logmessage.h"
#include "frame/rowsbyid.h"
#include "messagedaemon.h"
#include "recserversavers.h"
#include "shared/ctrlerentry.h"

namespace {

/// Translates a slave's entry into the host's terms, for the host's copy of the controller.
///
/// Doors are paired by position only, since a slave may give a door a new id when it learns the controller anew. There
/// are as many pairs as the host has doors. A host door without a reported one gets an entry too, so that it keeps no
/// reference to a camera; a reported door without a host door is left to `SetByJson` as it is.
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
    SetHostCamera(door, cameras);
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

int UpdateCtrlerData(int zr_id, const Json::Value& section) {
  AxisAcsCtrlerFilterRule rule;
  rule.ownerZrIds = {zr_id};
  std::list<AxisAcsCtrler> list;
  if (GetAcsCtrlerListByRule(rule, list) != 0) {
    CMS_LOG_ALWAYS("UpdateCtrlerData", "Failed to get access ctrler list.\n");
    return -1;
  }
  std::map<int, Camera> cameras;
  CamGetMapByZrId(cameras, zr_id, MAP_KEY_ID_ON_REC_SERVER);

  RowsById<AxisAcsCtrler> rows(std::move(list), std::mem_fn(&AxisAcsCtrler::GetIdOnRec));
  Json::Value added;
  for (const Json::Value& item : section) {
    if (std::optional<AxisAcsCtrler> ctrler = rows.Take(IntOrZero(item, "id"))) {
      ctrler->SetByJson(InHostTerms(item, *ctrler, zr_id, cameras));
      ctrler->Save();
    } else {
      added.append(item);
    }
  }
  SaveCtrlerFromRec(zr_id, added);
  RemoveExtraCtrlers(zr_id, rows.TakeRemaining());
  return 0;
}
