/// Camera section of a status report.
#pragma once

#include <json/value.h>

class CachedCamMap;

/// Brings the status of slave `zrId`'s cameras up to date, all changed ones at once, but for cameras that a user is
/// configuring on the host; tells the clients whose live stream is another one now; hands the RTSP keys on.
/// @param cameraInfo  the "camera_info" section; elements that the host has no camera for are passed over
void UpdateCamInfo(int zrId, const Json::Value& cameraInfo, CachedCamMap& cache);
