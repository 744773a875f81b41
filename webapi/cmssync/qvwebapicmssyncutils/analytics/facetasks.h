/// Face tasks of a slave.
#pragma once

#include <json/value.h>

class CachedCamMap;

/// Brings the host's copies of slave `zrId`'s face tasks in line with the document's "face_info" list; a document
/// without it touches nothing.
/// @param camMap      the slave's cameras by their ids there
/// @param updateOnly  rewrite changed tasks only: neither delete nor insert
void UpdateFaceInfo(const Json::Value& info, int zrId, CachedCamMap& camMap, bool updateOnly);
