/// Reading a slave's entries of access controllers and doors, in snapshots and in status reports.
#pragma once

#include <json/value.h>

#include <map>

#include "camera.h"

/// The member's value if it is an integer, else 0.
inline int IntOrZero(const Json::Value& object, const char* key) {
  const Json::Value& value = object[key];
  return value.isInt() ? value.asInt() : 0;
}

/// Replaces the slave's camera id in a door's entry by the host's camera and that camera's owner. A camera that the
/// host does not have counts as a blank one, which is added to `cameras`.
/// @param cameras  the slave's cameras by their ids on the slave
inline void SetHostCamera(Json::Value& door, std::map<int, Camera>& cameras) {
  const Camera& camera = cameras[IntOrZero(door, "cam_id")];
  door["cam_id"] = camera.GetId();
  door["cam_zr_id"] = camera.GetOwnerZrId();
}
