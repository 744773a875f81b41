#include "devices/camerareferences.h"

#include "camera.h"
#include "db/database.h"
#include "devices/emapitems.h"
#include "devices/sections.h"
#include "devices/tables.h"
#include "messagedaemon.h"
#include "record/attempt.h"

#define LAYOUT_ITEM_FIELDS(FIELD)                                                               \
  FIELD(LayoutItemData, int, Id, "id", HostId)                                                  \
  FIELD(LayoutItemData, int, LayoutId, "layout_id", HostOnly)                                   \
  FIELD(LayoutItemData, int, Position, "position", HostOnly) /* cell, counted by rows from 0 */ \
  FIELD(LayoutItemData, int, StreamProfile, "stream_profile", HostOnly)                         \
  FIELD(LayoutItemData, int, CameraId, "camera_id", HostOnly, .references = "camera")

QV_DECLARE_FIELDS(LayoutItemData, LAYOUT_ITEM_FIELDS)

#define CAMERA_GROUP_MEMBER_FIELDS(FIELD)                           \
  FIELD(CameraGroupMemberData, int, Id, "id", HostId)               \
  FIELD(CameraGroupMemberData, int, GroupId, "group_id", HostOnly)  \
  FIELD(CameraGroupMemberData, int, Position, "position", HostOnly) \
  FIELD(CameraGroupMemberData, int, CameraId, "camera_id", HostOnly, .references = "camera")

QV_DECLARE_FIELDS(CameraGroupMemberData, CAMERA_GROUP_MEMBER_FIELDS)

namespace qv::devices {
namespace {
class LayoutItem : public TaggedRecord<LayoutItemData::Fields> {};
class CameraGroupMember : public TaggedRecord<CameraGroupMemberData::Fields> {};
}  // namespace

const record::AnyTable& LayoutItemTable() {
  static const record::Table<LayoutItem> table("layout_item");
  return table;
}

const record::AnyTable& CameraGroupMemberTable() {
  static const record::Table<CameraGroupMember> table("camera_group_member");
  return table;
}

void DetachFromCamera(int camera_id) {
  db::Session& session = db::ThisThread();
  session.Prepare("UPDATE iva_task SET camera_id=NULL WHERE camera_id=$1 AND owner_zr_id<>0")
      .Bind(camera_id)
      .RunLater();
  session.Prepare("UPDATE face_task SET camera_id=NULL WHERE camera_id=$1 AND owner_zr_id<>0")
      .Bind(camera_id)
      .RunLater();
  session.Prepare("UPDATE axis_door SET cam_id=NULL,cam_zr_id=0 WHERE cam_id=$1").Bind(camera_id).RunLater();
}

void DetachDoorsFromCamerasOf(int zr) {
  db::Query query =
      db::ThisThread().Prepare("UPDATE axis_door SET cam_id=NULL,cam_zr_id=0 WHERE cam_zr_id=$1 AND owner_zr_id<>$2");
  query.Bind(zr).Bind(zr).RunLater();
}

}  // namespace qv::devices

using namespace qv;           // NOLINT(google-build-using-namespace): what follows is the package's interface
using namespace qv::devices;  // NOLINT(google-build-using-namespace)

int SyncRelatedTableForCamDel(const Camera& camera, bool notify) {
  const int result = record::Attempt("Failed to clean up after camera [{}]", camera.GetId(), [&] {
    db::AllOrNothing whole;
    // A database that enforces its references has emptied these already.
    for (const record::AnyTable* table :
         {static_cast<const record::AnyTable*>(&EdgeStorageTable()), &CameraDetectionSettingTable(),
          &CameraDeviceOutputTable(), &LayoutItemTable(), &EmapItemTable(), &CameraGroupMemberTable()}) {
      table->DeleteLater(record::Where().Is("camera_id", camera.GetId()));
    }
    whole.Keep();
  });
  if (result == 0 && notify) SendCamRelatedMsgToMsgD();
  return result;
}
