#include "slavedata.h"

#include <initializer_list>

#include "../analytics/tables.h"
#include "../capability/capability.h"
#include "../db/database.h"
#include "../devices/camerareferences.h"
#include "../devices/edgestoragetable.h"
#include "../devices/emapitems.h"
#include "../devices/posrules.h"
#include "../devices/sections.h"
#include "../devices/tables.h"
#include "../record/attempt.h"
#include "../server/relatedtables.h"
#include "../server/servers.h"
#include "ownedrows.h"
#include "shmdbcache.h"

namespace {

using namespace qv;           // NOLINT(google-build-using-namespace): this file is about the tables of all parts
using namespace qv::devices;  // NOLINT(google-build-using-namespace)
using namespace qv::removal;  // NOLINT(google-build-using-namespace)
using namespace qv::server;   // NOLINT(google-build-using-namespace)

/// Runs `work`, which removes what the host holds for a server, all or nothing. The host itself is no slave.
template <class Work>
int Remove(log::Text<int> failure, int zr, Work&& work) {
  if (zr < 1) return 0;
  return record::Attempt(failure, zr, [&] {
    db::AllOrNothing whole;
    work();
    whole.Keep();
  });
}

using Tables = std::initializer_list<const record::AnyTable*>;

/// Deletes the server's rows of each table in turn.
void DeleteRows(int zr, Tables tables) {
  for (const record::AnyTable* table : tables) DeleteRowsOf(*table, zr);
}

/// Deletes the server's rows of `kind`, and before them those of `dependents`, which would go too: so they are counted.
int Delete(log::Text<int> failure, int zr, const record::AnyTable& kind, Tables dependents = {}) {
  return Remove(failure, zr, [&] {
    DeleteRows(zr, dependents);
    DeleteRowsOf(kind, zr);
  });
}

}  // namespace

int CamDelByZrId(int zrId) {
  return Remove("Failed to delete the cameras of server [{}]", zrId, [&] {
    capability::DeleteFilesOf(zrId);
    DetachDoorsFromCamerasOf(zrId);
    DeleteRows(zrId, {&analytics::TaskGroupWidgetTable(), &analytics::TaskGroupTable(),
                      &analytics::CountingWidgetTable(), &analytics::IvaTaskTable(), &analytics::FaceTaskTable()});
    DeleteRows(zrId, {&EdgeStorageTable(), &CameraDetectionSettingTable(), &CameraDeviceOutputTable(), &CameraTable()});
  });
}

int IOModuleDelByZrId(int zrId) {
  return Remove("Failed to delete the I/O modules of server [{}]", zrId, [&] {
    DeleteRows(zrId, {&IOModuleSettingTable(), &IOModuleCamPairingTable()});
    const bool had_modules = DeleteRowsOf(IOModuleTable(), zrId) > 0;
    // Modules that went before their server are in the cache still; for no entries at all, none is made.
    if (!had_modules && !ShmDBCacheExists()) return;
    if (ShmDBCache* cache = QVShmDBCacheAt()) cache->RemoveIOModules(zrId);
  });
}

int POSDelByZrId(int zrId) {
  return Delete("Failed to delete the POS terminals of server [{}]", zrId, PosTable(),
                {&PosTextRuleTable(), &PosEventConfTable()});
}

int SpeakerDelByZrId(int zrId) { return Delete("Failed to delete the speakers of server [{}]", zrId, SpeakerTable()); }

int CtrlerDelByZrId(int zrId) {
  return Delete("Failed to delete the controllers of server [{}]", zrId, CtrlerTable(),
                {&CtrlerActionRuleTable(), &DoorTable()});
}

int DelRecShareByZrId(int zrId) {
  return Delete("Failed to delete the recording shares of server [{}]", zrId, RecShareTable());
}

int DelAllEmapItemByZrId(int zrId) {
  return Delete("Failed to delete the e-map items of server [{}]", zrId, EmapItemTable());
}

int DelLayoutAllItems(int zrId) {
  return Delete("Failed to delete the layout items of server [{}]", zrId, LayoutItemTable());
}

int DelSlaveZRFromAllPrivProfile(int zrId) {
  return Delete("Failed to remove server [{}] from the privilege profiles", zrId, ServerTable(),
                {&PrivilegeProfileServerTable()});
}

int DelMigrationByZrId(int zrId) {
  return Delete("Failed to delete the camera migrations of server [{}]", zrId, CameraMigrationTable());
}

int DelAllCamGrpCamByZrId(int zrId) {
  return Delete("Failed to remove the cameras of server [{}] from the camera groups", zrId, CameraGroupMemberTable());
}

int DelEvtExpByZrId(int zrId) {
  return Delete("Failed to delete the event exports of server [{}]", zrId, EventExportTable());
}

int OperateAllEvtMntByZrId(EVENT_MNT_OPERATE_TYPE operation, int zrId) {
  return operation == EVENT_MNT_DELETE_ALL
             ? Delete("Failed to delete the event mounts of server [{}]", zrId, EventMountTable())
             : -1;
}

int ResetDoorLayoutItemByZrId(int zrId) {
  return Remove("Failed to reset the door layout items of server [{}]", zrId, [&] { ResetDoorLayoutItems(zrId); });
}
