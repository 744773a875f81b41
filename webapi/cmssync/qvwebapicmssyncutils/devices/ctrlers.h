/// Access controllers of a configuration snapshot.
#pragma once

#include <json/value.h>

/// Makes the host's access controllers of server `zrId` agree with the section: updates them with their doors, hands
/// the new ones over as one batch, deletes those that are left in one call.
/// @return 0; -1 when the host's controllers cannot be listed: nothing is written then
int UpdateCtrlerData(int zrId, const Json::Value& ctrlers);
