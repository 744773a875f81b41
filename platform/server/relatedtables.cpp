#include "relatedtables.h"

#include "taggedfield.h"

struct PrivilegeProfileServerData {
  enum Fields : int { FIELD_COUNT = 3 };
};

#define PRIVILEGE_PROFILE_SERVER_FIELDS(FIELD)                                 \
  FIELD(PrivilegeProfileServerData, 0, int, Id, "id", HostId)                  \
  FIELD(PrivilegeProfileServerData, 1, int, ProfileId, "profile_id", HostOnly) \
  FIELD(PrivilegeProfileServerData, 2, int, ZrId, "zr_id", Owner, .references = "server")

struct CameraMigrationData {
  enum Fields : int { FIELD_COUNT = 5 };
};

// A migration belongs to both of its servers: it is over when one of them is removed. Server 0 is the host itself.
#define CAMERA_MIGRATION_FIELDS(FIELD)                                                        \
  FIELD(CameraMigrationData, 0, int, Id, "id", HostId)                                        \
  FIELD(CameraMigrationData, 1, int, SourceZrId, "source_zr_id", Owner)                       \
  FIELD(CameraMigrationData, 2, int, DestinationZrId, "destination_zr_id", Owner)             \
  FIELD(CameraMigrationData, 3, int, CameraId, "camera_id", HostOnly, .references = "camera") \
  FIELD(CameraMigrationData, 4, int, Progress, "progress", HostOnly) /* percent */

struct EventMountData {
  enum Fields : int { FIELD_COUNT = 5 };
};

// Recordings of a deleted camera can still be played while their server is there.
#define EVENT_MOUNT_FIELDS(FIELD)                                                        \
  FIELD(EventMountData, 0, int, Id, "id", HostId)                                        \
  FIELD(EventMountData, 1, int, ZrId, "zr_id", Owner)                                    \
  FIELD(EventMountData, 2, int, CameraId, "camera_id", HostOnly, .references = "camera", \
        .on_delete = OnDelete::SetNull)                                                  \
  FIELD(EventMountData, 3, std::string, Name, "name", HostOnly)                          \
  FIELD(EventMountData, 4, std::string, Path, "path", HostOnly) /* on the server */

struct EventExportData {
  enum Fields : int { FIELD_COUNT = 7 };
};

#define EVENT_EXPORT_FIELDS(FIELD)                                                        \
  FIELD(EventExportData, 0, int, Id, "id", HostId)                                        \
  FIELD(EventExportData, 1, int, ZrId, "zr_id", Owner)                                    \
  FIELD(EventExportData, 2, int, CameraId, "camera_id", HostOnly, .references = "camera", \
        .on_delete = OnDelete::SetNull)                                                   \
  FIELD(EventExportData, 3, std::string, Name, "name", HostOnly)                          \
  FIELD(EventExportData, 4, int, StartTime, "start_time", HostOnly) /* s since 1970 */    \
  FIELD(EventExportData, 5, int, EndTime, "end_time", HostOnly)                           \
  FIELD(EventExportData, 6, std::string, Destination, "destination", HostOnly) /* folder that the user chose */

struct DoorLayoutItemData {
  enum Fields : int { FIELD_COUNT = 6 };
};

// The server is noted beside the door, so that an item still tells whose door it showed when the door is gone.
#define DOOR_LAYOUT_ITEM_FIELDS(FIELD)                                                      \
  FIELD(DoorLayoutItemData, 0, int, Id, "id", HostId)                                       \
  FIELD(DoorLayoutItemData, 1, int, LayoutId, "layout_id", HostOnly)                        \
  FIELD(DoorLayoutItemData, 2, int, Position, "position", HostOnly)                         \
  FIELD(DoorLayoutItemData, 3, int, ZrId, "zr_id", Owner)                                   \
  FIELD(DoorLayoutItemData, 4, int, DoorId, "door_id", HostOnly, .references = "axis_door", \
        .on_delete = OnDelete::SetNull)                                                     \
  FIELD(DoorLayoutItemData, 5, std::string, Title, "title", HostOnly)

PRIVILEGE_PROFILE_SERVER_FIELDS(QV_TAGGED_FIELD)
CAMERA_MIGRATION_FIELDS(QV_TAGGED_FIELD)
EVENT_MOUNT_FIELDS(QV_TAGGED_FIELD)
EVENT_EXPORT_FIELDS(QV_TAGGED_FIELD)
DOOR_LAYOUT_ITEM_FIELDS(QV_TAGGED_FIELD)

namespace qv::server {
namespace {

class PrivilegeProfileServer : public TaggedRecord<PrivilegeProfileServerData::Fields> {};
class CameraMigration : public TaggedRecord<CameraMigrationData::Fields> {};
class EventMount : public TaggedRecord<EventMountData::Fields> {};
class EventExport : public TaggedRecord<EventExportData::Fields> {};
class DoorLayoutItem : public TaggedRecord<DoorLayoutItemData::Fields> {};

const record::Table<DoorLayoutItem, DoorLayoutItemData::Fields>& DoorLayoutItems() {
  static const record::Table<DoorLayoutItem, DoorLayoutItemData::Fields> table("door_layout_item");
  return table;
}

}  // namespace

const record::AnyTable& PrivilegeProfileServerTable() {
  static const record::Table<PrivilegeProfileServer, PrivilegeProfileServerData::Fields> table(
      "privilege_profile_server");
  return table;
}

const record::AnyTable& CameraMigrationTable() {
  static const record::Table<CameraMigration, CameraMigrationData::Fields> table("camera_migration");
  return table;
}

const record::AnyTable& EventMountTable() {
  static const record::Table<EventMount, EventMountData::Fields> table("event_mount");
  return table;
}

const record::AnyTable& EventExportTable() {
  static const record::Table<EventExport, EventExportData::Fields> table("event_export");
  return table;
}

const record::AnyTable& DoorLayoutItemTable() { return DoorLayoutItems(); }

void ResetDoorLayoutItems(int zr) {
  for (DoorLayoutItem& item : DoorLayoutItems().Select(record::Where().Is("zr_id", zr))) {
    item.SetZrId(0);
    item.SetDoorId(0);
    item.SetTitle("");
    DoorLayoutItems().Save(item);
  }
}

}  // namespace qv::server
