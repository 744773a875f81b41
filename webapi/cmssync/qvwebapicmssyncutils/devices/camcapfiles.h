/// Capability files of a slave's cameras.
#pragma once

#include <json/value.h>

void SaveCamCapFiles(int zrId, const Json::Value& camCapList);
