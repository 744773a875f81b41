/// What refers to cameras. Places in the clients' live-view layouts and groups of cameras are written by other
/// services; here the tables stand because the rows go with their cameras.
#pragma once

#include "record/table.h"

namespace qv::devices {

const record::AnyTable& LayoutItemTable();
const record::AnyTable& CameraGroupMemberTable();

/// Before a camera is deleted: a slave's analytics tasks of the camera, and the doors tied to it, stay without a
/// camera. The slave's list of tasks decides about its tasks; the host's own tasks go with the camera. Throws
/// `db::Error`.
void DetachFromCamera(int camera_id);
/// Before the cameras of the server `zr` are deleted: the doors of other owners that are tied to them stay without a
/// camera. Throws `db::Error`.
void DetachDoorsFromCamerasOf(int zr);

}  // namespace qv::devices
