#include "facesetting.h"

#include "tables.h"

template <>
const char DBWrapper<FACE_SETTING_DB_COLUMNS>::m_szTableName[] = "face_task";

namespace qv::analytics {

const ColumnTable& FaceTaskTable() {
  static const ColumnTable table(FaceSetting::m_szTableName, DBColumnMembers<FACE_SETTING_DB_COLUMNS>::kColumns);
  return table;
}

}  // namespace qv::analytics

using namespace qv::analytics;  // NOLINT(google-build-using-namespace): what follows is the package's interface

bool FaceSetting::IsStorable() const { return Data().camera_id.Get() != 0; }

Json::Value FaceSetting::ToJson(bool columnsOnly) const { return FaceTaskTable().ToJson(Data().table(), columnsOnly); }

int FaceSetting::GetIdOnRecServer() const {
  return Data().owner_zr_id.Get() == 0 ? GetId() : Data().id_on_rec_server.Get();
}

int FaceSetting::Delete(bool mustExist) const {
  return FaceTaskTable().DeleteRows("Failed to delete face task [{}]", qv::record::Where().Is("id", GetId()), GetId(),
                                    mustExist);
}

int FaceSetting::Enum(const FaceSettingFilterRule& rule, std::list<FaceSetting>& list) {
  list.clear();
  return FaceTaskTable().Select(Criteria()
                                    .In("id", rule.ids)
                                    .Is("owner_zr_id", rule.ownerZrId)
                                    .Is("id_on_rec_server", rule.idOnRecServer)
                                    .In("camera_id", rule.cameraIds)
                                    .Is("enable", rule.enabled),
                                list);
}

int FaceSetting::InsertIntoDB(const Json::Value& json) {
  if (!json.isObject()) return -1;
  FaceSetting task;
  if (!FaceTaskTable().TakeJson(task.Data().table(), json)) return -1;
  if (task.GetId() == 0 && task.Data().owner_zr_id.Get() != 0) task.Data().task_id.Set(0);
  return FaceTaskTable().Save(task);
}
