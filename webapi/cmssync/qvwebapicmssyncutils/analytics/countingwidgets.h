/// Counting widgets of a slave's people-counting tasks.
#pragma once

#include <json/value.h>

void UpdateCountingWidgetInfo(const Json::Value& info, int zrId);
