#include "devices/emapitems.h"

#include "taggedfield.h"

// An item shows one device: one of the references is set.
#define EMAP_ITEM_FIELDS(FIELD)                                                           \
  FIELD(EmapItemData, int, Id, "id", HostId)                                              \
  FIELD(EmapItemData, int, EmapId, "emap_id", HostOnly)                                   \
  FIELD(EmapItemData, int, PosX, "position_x", HostOnly)                                  \
  FIELD(EmapItemData, int, PosY, "position_y", HostOnly)                                  \
  FIELD(EmapItemData, int, CameraId, "camera_id", HostOnly, .references = "camera")       \
  FIELD(EmapItemData, int, PosId, "pos_id", HostOnly, .references = "pos")                \
  FIELD(EmapItemData, int, SpeakerId, "speaker_id", HostOnly, .references = "ipspeaker")  \
  FIELD(EmapItemData, int, IOModuleId, "iomodule_id", HostOnly, .references = "iomodule") \
  FIELD(EmapItemData, int, DoorId, "door_id", HostOnly, .references = "axis_door")

QV_DECLARE_FIELDS(EmapItemData, EMAP_ITEM_FIELDS)

namespace qv::devices {
namespace {
class EmapItem : public TaggedRecord<EmapItemData::Fields> {};
}  // namespace

const record::AnyTable& EmapItemTable() {
  static const record::Table<EmapItem> table("emap_item");
  return table;
}

}  // namespace qv::devices
