/// Counting task groups of a slave.
#pragma once

#include <json/value.h>

void UpdateCountingTaskGroupInfo(const Json::Value& info, int zrId);
