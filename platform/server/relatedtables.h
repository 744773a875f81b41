/// What other services of the host keep about slaves and their devices. They write these rows; here the rows are tied
/// to what they speak of and go when a slave is removed.
#pragma once

#include "record/table.h"

namespace qv::server {

/// Which servers a privilege profile covers.
const record::AnyTable& PrivilegeProfileServerTable();
/// Moves of cameras from one server to another.
const record::AnyTable& CameraMigrationTable();
/// Recorded events of a server that are mounted for playback.
const record::AnyTable& EventMountTable();
/// Recorded events of a server that a user had copied.
const record::AnyTable& EventExportTable();
/// Doors in live-view layouts.
const record::AnyTable& DoorLayoutItemTable();

/// Empties the door layout items that show a door of the server `zr`. Throws `db::Error`.
void ResetDoorLayoutItems(int zr);

}  // namespace qv::server
