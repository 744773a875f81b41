#include "emapitems.h"

#include "taggedfield.h"

struct EmapItemData {
  enum Fields : int { FIELD_COUNT = 9 };
};

// An item shows one device: one of the references is set.
#define EMAP_ITEM_FIELDS(FIELD)                                                              \
  FIELD(EmapItemData, 0, int, Id, "id", HostId)                                              \
  FIELD(EmapItemData, 1, int, EmapId, "emap_id", HostOnly)                                   \
  FIELD(EmapItemData, 2, int, PosX, "position_x", HostOnly)                                  \
  FIELD(EmapItemData, 3, int, PosY, "position_y", HostOnly)                                  \
  FIELD(EmapItemData, 4, int, CameraId, "camera_id", HostOnly, .references = "camera")       \
  FIELD(EmapItemData, 5, int, PosId, "pos_id", HostOnly, .references = "pos")                \
  FIELD(EmapItemData, 6, int, SpeakerId, "speaker_id", HostOnly, .references = "ipspeaker")  \
  FIELD(EmapItemData, 7, int, IOModuleId, "iomodule_id", HostOnly, .references = "iomodule") \
  FIELD(EmapItemData, 8, int, DoorId, "door_id", HostOnly, .references = "axis_door")

EMAP_ITEM_FIELDS(QV_TAGGED_FIELD)

namespace qv::devices {
namespace {
class EmapItem : public TaggedRecord<EmapItemData::Fields> {};
}  // namespace

const record::AnyTable& EmapItemTable() {
  static const record::Table<EmapItem, EmapItemData::Fields> table("emap_item");
  return table;
}

}  // namespace qv::devices
