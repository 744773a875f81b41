/// What other services keep about cameras: places in the clients' live-view layouts, and groups of cameras. Those
/// services write the rows; here the tables stand because the rows go with their cameras.
#pragma once

#include "../record/table.h"

namespace qv::devices {

const record::AnyTable& LayoutItemTable();
const record::AnyTable& CameraGroupMemberTable();

}  // namespace qv::devices
