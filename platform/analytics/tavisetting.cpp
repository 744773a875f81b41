#include "tavisetting.h"

#include "analytics/columns.h"
#include "analytics/tables.h"
#include "record/attempt.h"
#include "record/import.h"

template <>
const char DBWrapper<TAVI_SETTING_DB_COLUMNS>::m_szTableName[] = "iva_task";

namespace qv::analytics {

const record::Table<TaviSetting>& IvaTaskTable() {
  static const record::Table<TaviSetting> table(TaviSetting::m_szTableName);
  return table;
}

}  // namespace qv::analytics

using namespace qv;             // NOLINT(google-build-using-namespace): what follows is the package's interface
using namespace qv::analytics;  // NOLINT(google-build-using-namespace)

bool TaviSetting::IsStorable() const { return Data().camera_id.Get() != 0; }

Json::Value TaviSetting::ToJson(bool columnsOnly) const {
  return analytics::ToJson(IvaTaskTable().schema(), Data().table(), columnsOnly);
}

int TaviSetting::GetIdOnRecServer() const {
  return Data().owner_zr_id.Get() == 0 ? GetId() : Data().id_on_rec_server.Get();
}

int TaviSetting::LoadByIdOnRecServer(int idOnRecServer, int ownerZrId) {
  std::optional<TaviSetting> found;
  record::Attempt("Failed to load an IVA task of server [{}]", ownerZrId, [&] {
    found = IvaTaskTable().Find(record::Where().Is("owner_zr_id", ownerZrId).Is("id_on_rec_server", idOnRecServer));
  });
  if (!found) return -1;
  *this = *found;
  return 0;
}

int TaviSetting::Delete(bool mustExist) const {
  return record::Attempt("Failed to delete IVA task [{}]", GetId(),
                         [&] { analytics::Delete(IvaTaskTable(), record::Where().Is("id", GetId()), mustExist); });
}

int TaviSetting::Enum(const IvaSettingFilterRule& rule, std::list<TaviSetting>& list) {
  list.clear();
  return record::Attempt("Failed to list IVA tasks", [&] {
    list = IvaTaskTable().Select(record::Where()
                                     .In("id", rule.ids)
                                     .Is("owner_zr_id", rule.ownerZrId)
                                     .Is("id_on_rec_server", rule.idOnRecServer)
                                     .In("camera_id", rule.cameraIds)
                                     .Is("type", rule.type)
                                     .Is("enable", rule.enabled));
  });
}

int TaviSetting::InsertIntoDB(const Json::Value& json) {
  if (!json.isObject()) return -1;
  return record::Attempt("Failed to save IVA task [{}]", record::IntIdOrZero(json), [&] {
    TaviSetting task;
    TakeJson(IvaTaskTable().schema(), task.Data().table(), json);
    Save(IvaTaskTable(), task);
  });
}
