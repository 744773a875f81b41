/// Edge storage of a snapshot's cameras. It has no section of its own: each camera's item carries its settings, so the
/// camera step calls these two.
#pragma once

#include <json/value.h>

#include <map>

#include "edgestorage.h"

/// Fills `map` with the edge settings that the host has of the slave's cameras, by the cameras' host ids; of several
/// rows for one camera, the first. It stays empty when they cannot be read.
void LoadCamEdgeMap(int zrId, std::map<int, EdgeStorage>& map);

/// Brings one camera's row in line with what the slave reports.
/// @param cam   the camera, its host id set
/// @param edge  the "edgeStorage" of its item
/// @param map   the rows as loaded; one that changes, changes there too. A row that is new stays out of it.
void UpdateCamEdgeData(int zrId, const Camera& cam, const Json::Value& edge, std::map<int, EdgeStorage>& map);
