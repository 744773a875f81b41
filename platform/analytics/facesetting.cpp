#include "facesetting.h"

#include "analytics/columns.h"
#include "analytics/tables.h"
#include "record/attempt.h"
#include "record/import.h"

template <>
const char DBWrapper<FACE_SETTING_DB_COLUMNS>::m_szTableName[] = "face_task";

namespace qv::analytics {

const record::Table<FaceSetting>& FaceTaskTable() {
  static const record::Table<FaceSetting> table(FaceSetting::m_szTableName);
  return table;
}

}  // namespace qv::analytics

using namespace qv;             // NOLINT(google-build-using-namespace): what follows is the package's interface
using namespace qv::analytics;  // NOLINT(google-build-using-namespace)

bool FaceSetting::IsStorable() const { return Data().camera_id.Get() != 0; }

Json::Value FaceSetting::ToJson(bool columnsOnly) const {
  return analytics::ToJson(FaceTaskTable().schema(), Data().table(), columnsOnly);
}

int FaceSetting::GetIdOnRecServer() const {
  return Data().owner_zr_id.Get() == 0 ? GetId() : Data().id_on_rec_server.Get();
}

int FaceSetting::Delete(bool mustExist) const {
  return record::Attempt("Failed to delete face task [{}]", GetId(),
                         [&] { analytics::Delete(FaceTaskTable(), record::Where().Is("id", GetId()), mustExist); });
}

int FaceSetting::Enum(const FaceSettingFilterRule& rule, std::list<FaceSetting>& list) {
  list.clear();
  return record::Attempt("Failed to list face tasks", [&] {
    list = FaceTaskTable().Select(record::Where()
                                      .In("id", rule.ids)
                                      .Is("owner_zr_id", rule.ownerZrId)
                                      .Is("id_on_rec_server", rule.idOnRecServer)
                                      .In("camera_id", rule.cameraIds)
                                      .Is("enable", rule.enabled));
  });
}

int FaceSetting::InsertIntoDB(const Json::Value& json) {
  if (!json.isObject()) return -1;
  return record::Attempt("Failed to save face task [{}]", record::IntIdOrZero(json), [&] {
    FaceSetting task;
    TakeJson(FaceTaskTable().schema(), task.Data().table(), json);
    if (task.GetId() == 0 && task.Data().owner_zr_id.Get() != 0) task.Data().task_id.Set(0);
    Save(FaceTaskTable(), task);
  });
}
