#include "tavisetting.h"

#include "tables.h"

template <>
const char DBWrapper<TAVI_SETTING_DB_COLUMNS>::m_szTableName[] = "iva_task";

namespace qv::analytics {

const ColumnTable& IvaTaskTable() {
  static const ColumnTable table(TaviSetting::m_szTableName, DBColumnMembers<TAVI_SETTING_DB_COLUMNS>::kColumns);
  return table;
}

}  // namespace qv::analytics

using namespace qv::analytics;  // NOLINT(google-build-using-namespace): what follows is the package's interface

bool TaviSetting::IsStorable() const { return Data().camera_id.Get() != 0; }

Json::Value TaviSetting::ToJson(bool columnsOnly) const { return IvaTaskTable().ToJson(Data().table(), columnsOnly); }

int TaviSetting::GetIdOnRecServer() const {
  return Data().owner_zr_id.Get() == 0 ? GetId() : Data().id_on_rec_server.Get();
}

int TaviSetting::LoadByIdOnRecServer(int idOnRecServer, int ownerZrId) {
  return IvaTaskTable().Load(Criteria().Is("owner_zr_id", ownerZrId).Is("id_on_rec_server", idOnRecServer), *this,
                             [](const TaviSetting&) { return true; });
}

int TaviSetting::Delete(bool mustExist) const {
  return IvaTaskTable().DeleteRows("Failed to delete IVA task [{}]", qv::record::Where().Is("id", GetId()), GetId(),
                                   mustExist);
}

int TaviSetting::Enum(const IvaSettingFilterRule& rule, std::list<TaviSetting>& list) {
  list.clear();
  return IvaTaskTable().Select(Criteria()
                                   .In("id", rule.ids)
                                   .Is("owner_zr_id", rule.ownerZrId)
                                   .Is("id_on_rec_server", rule.idOnRecServer)
                                   .In("camera_id", rule.cameraIds)
                                   .Is("type", rule.type)
                                   .Is("enable", rule.enabled),
                               list);
}

int TaviSetting::InsertIntoDB(const Json::Value& json) {
  if (!json.isObject()) return -1;
  TaviSetting task;
  return IvaTaskTable().TakeJson(task.Data().table(), json) ? IvaTaskTable().Save(task) : -1;
}
