/// I/O modules of a configuration snapshot.
#pragma once

#include <json/value.h>

int UpdateIOModuleData(int zrId, const Json::Value& mods);
