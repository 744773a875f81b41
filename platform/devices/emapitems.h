/// Devices on e-maps. The e-map editor of another service writes these rows; here they are looked up for messages and
/// go with their devices.
#pragma once

#include "record/table.h"

namespace qv::devices {

const record::AnyTable& EmapItemTable();

}  // namespace qv::devices
