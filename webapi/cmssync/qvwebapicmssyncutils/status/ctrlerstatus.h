/// Access controllers and their doors in a status report.
#pragma once

#include <json/value.h>

/// Writes the controllers of slave `zrId` whose status, MAC address or doors are others than the host's, and the
/// changed doors; doors that the host does not have yet are added. Controllers that the host does not have are passed
/// over. Nothing is logged: what could not be written is found again by the next report.
/// @param status  the whole report, of which "ctrler_info" is read
void UpdateCtrlerStatus(const Json::Value& status, int zrId);
