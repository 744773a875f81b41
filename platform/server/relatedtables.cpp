#include "server/relatedtables.h"

#include "taggedfield.h"

#define PRIVILEGE_PROFILE_SERVER_FIELDS(FIELD)                              \
  FIELD(PrivilegeProfileServerData, int, Id, "id", HostId)                  \
  FIELD(PrivilegeProfileServerData, int, ProfileId, "profile_id", HostOnly) \
  FIELD(PrivilegeProfileServerData, int, ZrId, "zr_id", Owner, .references = "server")

// A migration belongs to both of its servers: it is over when one of them is removed. Server 0 is the host itself.
#define CAMERA_MIGRATION_FIELDS(FIELD)                                                     \
  FIELD(CameraMigrationData, int, Id, "id", HostId)                                        \
  FIELD(CameraMigrationData, int, SourceZrId, "source_zr_id", Owner)                       \
  FIELD(CameraMigrationData, int, DestinationZrId, "destination_zr_id", Owner)             \
  FIELD(CameraMigrationData, int, CameraId, "camera_id", HostOnly, .references = "camera") \
  FIELD(CameraMigrationData, int, Progress, "progress", HostOnly) /* percent */

// Recordings of a deleted camera can still be played while their server is there.
#define EVENT_MOUNT_FIELDS(FIELD)                                                                                     \
  FIELD(EventMountData, int, Id, "id", HostId)                                                                        \
  FIELD(EventMountData, int, ZrId, "zr_id", Owner)                                                                    \
  FIELD(EventMountData, int, CameraId, "camera_id", HostOnly, .references = "camera", .on_delete = OnDelete::SetNull) \
  FIELD(EventMountData, std::string, Name, "name", HostOnly)                                                          \
  FIELD(EventMountData, std::string, Path, "path", HostOnly) /* on the server */

#define EVENT_EXPORT_FIELDS(FIELD)                                                                                     \
  FIELD(EventExportData, int, Id, "id", HostId)                                                                        \
  FIELD(EventExportData, int, ZrId, "zr_id", Owner)                                                                    \
  FIELD(EventExportData, int, CameraId, "camera_id", HostOnly, .references = "camera", .on_delete = OnDelete::SetNull) \
  FIELD(EventExportData, std::string, Name, "name", HostOnly)                                                          \
  FIELD(EventExportData, int, StartTime, "start_time", HostOnly) /* s since 1970 */                                    \
  FIELD(EventExportData, int, EndTime, "end_time", HostOnly)                                                           \
  FIELD(EventExportData, std::string, Destination, "destination", HostOnly) /* folder that the user chose */

// The server is noted beside the door, so that an item still tells whose door it showed when the door is gone.
#define DOOR_LAYOUT_ITEM_FIELDS(FIELD)                                                   \
  FIELD(DoorLayoutItemData, int, Id, "id", HostId)                                       \
  FIELD(DoorLayoutItemData, int, LayoutId, "layout_id", HostOnly)                        \
  FIELD(DoorLayoutItemData, int, Position, "position", HostOnly)                         \
  FIELD(DoorLayoutItemData, int, ZrId, "zr_id", Owner)                                   \
  FIELD(DoorLayoutItemData, int, DoorId, "door_id", HostOnly, .references = "axis_door", \
        .on_delete = OnDelete::SetNull)                                                  \
  FIELD(DoorLayoutItemData, std::string, Title, "title", HostOnly)

QV_DECLARE_FIELDS(PrivilegeProfileServerData, PRIVILEGE_PROFILE_SERVER_FIELDS)
QV_DECLARE_FIELDS(CameraMigrationData, CAMERA_MIGRATION_FIELDS)
QV_DECLARE_FIELDS(EventMountData, EVENT_MOUNT_FIELDS)
QV_DECLARE_FIELDS(EventExportData, EVENT_EXPORT_FIELDS)
QV_DECLARE_FIELDS(DoorLayoutItemData, DOOR_LAYOUT_ITEM_FIELDS)

namespace qv::server {
namespace {

class PrivilegeProfileServer : public TaggedRecord<PrivilegeProfileServerData::Fields> {};
class CameraMigration : public TaggedRecord<CameraMigrationData::Fields> {};
class EventMount : public TaggedRecord<EventMountData::Fields> {};
class EventExport : public TaggedRecord<EventExportData::Fields> {};
class DoorLayoutItem : public TaggedRecord<DoorLayoutItemData::Fields> {};

const record::Table<DoorLayoutItem>& DoorLayoutItems() {
  static const record::Table<DoorLayoutItem> table("door_layout_item");
  return table;
}

}  // namespace

const record::AnyTable& PrivilegeProfileServerTable() {
  static const record::Table<PrivilegeProfileServer> table("privilege_profile_server");
  return table;
}

const record::AnyTable& CameraMigrationTable() {
  static const record::Table<CameraMigration> table("camera_migration");
  return table;
}

const record::AnyTable& EventMountTable() {
  static const record::Table<EventMount> table("event_mount");
  return table;
}

const record::AnyTable& EventExportTable() {
  static const record::Table<EventExport> table("event_export");
  return table;
}

const record::AnyTable& DoorLayoutItemTable() { return DoorLayoutItems(); }

void ResetDoorLayoutItems(int zr) {
  for (DoorLayoutItem& item : DoorLayoutItems().Select(record::Where().Is("zr_id", zr))) {
    item.SetZrId(0);
    item.SetDoorId(0);
    item.SetTitle("");
    DoorLayoutItems().SaveLater(item);
  }
}

}  // namespace qv::server
