#include "iomodule.h"

#include "db/database.h"
#include "devices/emapitems.h"
#include "devices/listing.h"
#include "devices/sections.h"
#include "devices/tables.h"
#include "messagedaemon.h"
#include "record/attempt.h"
#include "record/import.h"
#include "recserversavers.h"
#include "shmdbcache.h"

namespace qv::devices {

const IOModuleTableType& IOModuleTable() {
  static const IOModuleTableType table("iomodule");
  return table;
}

namespace {

record::Where Selection(const IOModuleFilterRule& rule) {
  record::Where where;
  if (rule.enabledOnly) where.Is("enabled", 1);
  if (rule.hostLocalOnly) where.Is("owner_zr_id", 0);
  const std::pair<const char*, int> numbers[] = {{"owner_zr_id", rule.ownerZrId},
                                                 {"status_on_rec_server", rule.status},
                                                 {"id_on_rec_server", rule.idOnRecServer},
                                                 {"port", rule.port}};
  for (const auto& [column, number] : numbers) {
    if (number != -1) where.Is(column, number);
  }
  const std::pair<const char*, const std::string&> texts[] = {{"name", rule.name},
                                                              {"vendor", rule.vendor},
                                                              {"model", rule.model},
                                                              {"firmware_version", rule.firmwareVersion},
                                                              {"mac_address", rule.macAddress},
                                                              {"serial_number", rule.serialNumber},
                                                              {"host", rule.host},
                                                              {"time_zone", rule.timeZone},
                                                              {"location", rule.location},
                                                              {"note", rule.note}};
  for (const auto& [column, text] : texts) {
    if (!text.empty()) where.Is(column, text);
  }
  return where;
}

}  // namespace
}  // namespace qv::devices

using namespace qv;           // NOLINT(google-build-using-namespace): what follows is the package's interface
using namespace qv::devices;  // NOLINT(google-build-using-namespace)

// NOLINTNEXTLINE(performance-unnecessary-value-param): the package's signature
int IOModule::IsCfgChged(Json::Value entry) const { return IOModuleTable().Differs(*this, entry) ? 1 : 0; }

int IOModule::Save(bool notify, bool settingsToo) {
  const int result =
      record::Attempt("Failed to save I/O module [{}]", GetId(), [&] { IOModuleTable().SaveLater(*this); });
  if (result == 0 && notify) SendIOModUpdateMsgToMsgD({GetId()}, UPDATE_TYPE_CHANGED, settingsToo);
  return result;
}

int IOModule::Delete() const {
  return record::Attempt("Failed to delete I/O module [{}]", GetId(), [&] {
    IOModuleTable().DeleteLater(*this);
    if (!ShmDBCacheExists()) return;
    if (ShmDBCache* cache = QVShmDBCacheAt()) cache->RemoveIOModule(GetId());
  });
}

int InitIOModuleByJson(const Json::Value& entry, IOModule& module, bool isNew, bool fromRecServer, bool withStatus) {
  if (!entry.isObject()) return -1;
  if (isNew) module.SetId(0);
  const int id_on_rec_server = module.GetIdOnRecServer();
  IOModuleTable().Apply(module, entry);
  if (!fromRecServer) module.SetIdOnRecServer(id_on_rec_server);
  if (withStatus && entry["status"].isInt()) module.SetStatusOnRecServer(entry["status"].asInt());
  return 0;
}

std::list<IOModule> IOModuleGetList(IOModuleFilterRule& rule, int& total, bool countOnly) {
  std::list<IOModule> list;
  record::Attempt("Failed to list I/O modules", [&] { list = IOModuleTable().Select(Selection(rule)); });
  list.remove_if([&](const IOModule& module) {
    return !module.IsStatusFlagOn(rule.statusFlags) ||
           (rule.skipConfiguring && module.IsStatusFlagOn(DEV_STATUS_FLAG_CONFIGURING));
  });
  total = static_cast<int>(list.size());
  if (countOnly) return {};
  if (rule.newestFirst) list.reverse();
  KeepPage(list, rule.start, rule.limit);
  return list;
}

std::map<int, IOModule> GetIOModuleMapOnRecServer(int zrId, bool disabledToo) {
  std::map<int, IOModule> map;
  record::Attempt("Failed to list the I/O modules of server [{}]", zrId,
                  [&] { map = DevicesOf(zrId, disabledToo, IOModuleTable()); });
  return map;
}

int SyncRelatedTableForIOModuleDel(const IOModule& module) {
  return record::Attempt("Failed to clean up after I/O module [{}]", module.GetId(), [&] {
    db::AllOrNothing whole;
    const record::Where of_this_module = record::Where().Is("iomodule_id", module.GetId());
    EmapItemTable().DeleteLater(of_this_module);
    IOModuleSettingTable().DeleteLater(of_this_module);
    IOModuleCamPairingTable().DeleteLater(of_this_module);
    whole.Keep();
  });
}

int SaveIOModuleFromRecServer(int zrId, const Json::Value& section, bool notify) {
  std::list<int> ids;
  const int result = record::Attempt("Failed to import the I/O modules of server [{}]", zrId, [&] {
    record::ImportSection(IOModuleTable().Select(record::Where().Is("owner_zr_id", zrId)), zrId, section,
                          [&](IOModule& module, const Json::Value& entry) {
                            if (module.IsStatusFlagOn(DEV_STATUS_FLAG_CONFIGURING)) return;
                            if (InitIOModuleByJson(entry, module, module.GetId() == 0, true, false) == 0 &&
                                module.Save(false, false) == 0)
                              ids.push_back(module.GetId());
                          });
  });
  if (result == 0 && notify) SendIOModUpdateMsgToMsgD(ids, UPDATE_TYPE_CHANGED, true);
  return result;
}
