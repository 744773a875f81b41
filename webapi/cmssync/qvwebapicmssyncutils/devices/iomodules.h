/// I/O modules of a configuration snapshot.
#pragma once

#include <json/value.h>

/// Makes the host's I/O modules of server `zrId` agree with the section: adds, updates (but for modules that a user is
/// configuring on the host), removes. @return 0; failures are in the log
int UpdateIOModuleData(int zrId, const Json::Value& mods);
