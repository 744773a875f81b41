/// Access controllers of a configuration snapshot.
#pragma once

#include <json/value.h>

int UpdateCtrlerData(int zrId, const Json::Value& ctrlers);
