/// Capability files of a slave's cameras.
#pragma once

#include <json/value.h>

/// Writes the capability descriptions that slave `zrId` sent into the host's capability files. An element that lacks
/// its vendor, model, file name or description, or whose file name is refused, is left out.
/// @param camCapList  an array of {"camVendor", "camModel", "capFileName", "camCap"}; empty: nothing is done
void SaveCamCapFiles(int zrId, const Json::Value& camCapList);
