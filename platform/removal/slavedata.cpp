#include "slavedata.h"

#include "capability/capability.h"
#include "db/database.h"
#include "devices/camerareferences.h"
#include "devices/tables.h"
#include "record/attempt.h"
#include "removal/ownedrows.h"
#include "schema/kinds.h"
#include "server/relatedtables.h"
#include "shmdbcache.h"

namespace {

using namespace qv;  // NOLINT(google-build-using-namespace): this file is about the tables of all parts
using schema::Removal;

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

/// Deletes the server's rows of these kinds: those that are part of others first, so that they are counted.
void DeleteRows(int zr, Removal removal) {
  const std::span<const schema::Kind> kinds = schema::Kinds();
  for (auto kind = kinds.rbegin(); kind != kinds.rend(); ++kind) {
    if (kind->removal == removal) removal::DeleteRowsOf(*kind->table, zr);
  }
}

int Delete(log::Text<int> failure, int zr, Removal removal) {
  return Remove(failure, zr, [&] { DeleteRows(zr, removal); });
}

}  // namespace

int CamDelByZrId(int zrId) {
  return Remove("Failed to delete the cameras of server [{}]", zrId, [&] {
    capability::DeleteFilesOf(zrId);
    devices::DetachDoorsFromCamerasOf(zrId);
    DeleteRows(zrId, Removal::Cameras);
  });
}

int IOModuleDelByZrId(int zrId) {
  return Remove("Failed to delete the I/O modules of server [{}]", zrId, [&] {
    const bool had_modules = devices::IOModuleTable().Count(record::Where().Is("owner_zr_id", zrId)) > 0;
    DeleteRows(zrId, Removal::IOModules);
    // Modules that went before their server are in the cache still; for no entries at all, none is made.
    if (!had_modules && !ShmDBCacheExists()) return;
    if (ShmDBCache* cache = QVShmDBCacheAt()) cache->RemoveIOModules(zrId);
  });
}

int POSDelByZrId(int zrId) {
  return Delete("Failed to delete the POS terminals of server [{}]", zrId, Removal::PosTerminals);
}

int SpeakerDelByZrId(int zrId) {
  return Delete("Failed to delete the speakers of server [{}]", zrId, Removal::Speakers);
}

int CtrlerDelByZrId(int zrId) {
  return Delete("Failed to delete the controllers of server [{}]", zrId, Removal::Controllers);
}

int DelRecShareByZrId(int zrId) {
  return Delete("Failed to delete the recording shares of server [{}]", zrId, Removal::RecShares);
}

int DelAllEmapItemByZrId(int zrId) {
  return Delete("Failed to delete the e-map items of server [{}]", zrId, Removal::EmapItems);
}

int DelLayoutAllItems(int zrId) {
  return Delete("Failed to delete the layout items of server [{}]", zrId, Removal::LayoutItems);
}

int DelSlaveZRFromAllPrivProfile(int zrId) {
  return Delete("Failed to remove server [{}] from the privilege profiles", zrId, Removal::PrivilegeProfiles);
}

int DelMigrationByZrId(int zrId) {
  return Delete("Failed to delete the camera migrations of server [{}]", zrId, Removal::CameraMigrations);
}

int DelAllCamGrpCamByZrId(int zrId) {
  return Delete("Failed to remove the cameras of server [{}] from the camera groups", zrId, Removal::CameraGroups);
}

int DelEvtExpByZrId(int zrId) {
  return Delete("Failed to delete the event exports of server [{}]", zrId, Removal::EventExports);
}

int OperateAllEvtMntByZrId(EVENT_MNT_OPERATE_TYPE operation, int zrId) {
  return operation == EVENT_MNT_DELETE_ALL
             ? Delete("Failed to delete the event mounts of server [{}]", zrId, Removal::EventMounts)
             : -1;
}

int ResetDoorLayoutItemByZrId(int zrId) {
  return Remove("Failed to reset the door layout items of server [{}]", zrId,
                [&] { server::ResetDoorLayoutItems(zrId); });
}
