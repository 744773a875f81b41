/// Cameras of a configuration snapshot.
#pragma once

#include <json/value.h>

int UpdateCameraData(int zrId, const Json::Value& cams);
