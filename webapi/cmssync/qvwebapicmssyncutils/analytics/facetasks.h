/// Face tasks of a slave.
#pragma once

#include <json/value.h>

class CachedCamMap;
void UpdateFaceInfo(const Json::Value& info, int zrId, CachedCamMap& camMap, bool updateOnly);
