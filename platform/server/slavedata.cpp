#include "slavedata.h"

#include <initializer_list>

#include "../db/database.h"
#include "../devices/emapitems.h"
#include "../devices/posrules.h"
#include "../devices/sections.h"
#include "../devices/tables.h"
#include "../record/attempt.h"
#include "ownedrows.h"
#include "relatedtables.h"
#include "servers.h"

namespace {

using namespace qv;           // NOLINT(google-build-using-namespace): this file is about the tables of all parts
using namespace qv::devices;  // NOLINT(google-build-using-namespace)
using namespace qv::server;   // NOLINT(google-build-using-namespace)

/// Deletes the server's rows of `tables`, all or none. A kind is named by its last table; what depends on it comes
/// before it, so that these rows are counted too instead of vanishing with their reference.
int Delete(int zr, std::initializer_list<const record::AnyTable*> tables) {
  const std::string& kind = std::data(tables)[tables.size() - 1]->name();
  return record::Attempt("delete for the removed server the rows of", kind, zr, [&] {
    db::AllOrNothing whole;
    for (const record::AnyTable* table : tables) DeleteRowsOf(*table, zr);
    whole.Keep();
  });
}

}  // namespace

int CamDelByZrId(int zrId) {
  return Delete(zrId, {&CameraDetectionSettingTable(), &CameraDeviceOutputTable(), &CameraTable()});
}

int IOModuleDelByZrId(int zrId) { return Delete(zrId, {&IOModuleSettingTable(), &IOModuleCamPairingTable()}); }

int POSDelByZrId(int zrId) { return Delete(zrId, {&PosTextRuleTable(), &PosEventConfTable(), &PosTable()}); }

int SpeakerDelByZrId(int zrId) { return Delete(zrId, {&SpeakerTable()}); }

int CtrlerDelByZrId(int zrId) { return Delete(zrId, {&CtrlerActionRuleTable()}); }

int DelRecShareByZrId(int zrId) { return Delete(zrId, {&RecShareTable()}); }

int DelAllEmapItemByZrId(int zrId) { return Delete(zrId, {&EmapItemTable()}); }

int DelSlaveZRFromAllPrivProfile(int zrId) { return Delete(zrId, {&PrivilegeProfileServerTable(), &ServerTable()}); }

int DelMigrationByZrId(int zrId) { return Delete(zrId, {&CameraMigrationTable()}); }

int DelEvtExpByZrId(int zrId) { return Delete(zrId, {&EventExportTable()}); }

int OperateAllEvtMntByZrId(EVENT_MNT_OPERATE_TYPE operation, int zrId) {
  return operation == EVENT_MNT_DELETE_ALL ? Delete(zrId, {&EventMountTable()}) : -1;
}

int ResetDoorLayoutItemByZrId(int zrId) {
  return record::Attempt("reset for the removed server the rows of", DoorLayoutItemTable().name(), zrId, [&] {
    db::AllOrNothing whole;
    ResetDoorLayoutItems(zrId);
    whole.Keep();
  });
}
