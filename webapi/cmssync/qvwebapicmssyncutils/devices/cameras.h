/// Cameras of a configuration snapshot, and their edge storage.
#pragma once

#include <json/value.h>

/// Brings the host's cameras of slave `zrId` in line with the snapshot's "camera_info" section, tells the message
/// daemon and the action-rule daemon, and then removes the cameras that the slave no longer reports. A camera that a
/// user is configuring on the host is not overwritten. Failures are logged and stop nothing.
/// @param cams  an array of camera objects; null and an empty array remove all cameras
/// @return 0
int UpdateCameraData(int zrId, const Json::Value& cams);
