/// IVA tasks of a slave.
#pragma once

#include <json/value.h>

class CachedCamMap;
void UpdateIvaInfo(const Json::Value& info, int zrId, CachedCamMap& camMap, bool updateOnly);
