/// The recording servers (slaves) that the host manages.
#pragma once

#include <list>
#include <optional>
#include <string>

#include "taggedfield.h"

struct SlaveZRData {
  enum Fields : int { FIELD_COUNT = 2 };
};

#define SLAVE_ZR_FIELDS(FIELD)                   \
  FIELD(SlaveZRData, 0, int, ZrId, "id", HostId) \
  FIELD(SlaveZRData, 1, std::string, ZrModel, "model", HostOnly)

SLAVE_ZR_FIELDS(QV_TAGGED_FIELD)

/// One slave as the host knows it.
class SlaveZR : public TaggedRecord<SlaveZRData::Fields> {};

/// @return the slave with this id; none when the host does not know it or the row cannot be read
std::optional<SlaveZR> SlaveZRLoad(int zrId);
/// Writes the slave's row, a new one if there is none. @return 0 on success, -1 on failure
int SlaveZRSave(const SlaveZR& slave);
