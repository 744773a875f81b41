/// Edge storage of a snapshot's cameras: a part of the camera step, since each camera's entry carries its settings.
#pragma once

#include <json/value.h>

#include <map>

#include "edgestorage.h"

/// Fills `map` with the host's edge settings of the slave's cameras, keyed by the cameras' host ids. The first of
/// several rows of one camera counts. Leaves `map` empty, after a message, if the rows cannot be read.
void LoadCamEdgeMap(int zr_id, std::map<int, EdgeStorage>& map);

/// Brings one camera's row in line with the report.
/// @param cam   the camera; its host id must be set
/// @param edge  the member "edgeStorage" of the camera's entry
/// @param map   the rows as loaded. A changed row is changed here too; a new row is not added
void UpdateCamEdgeData(int zr_id, const Camera& cam, const Json::Value& edge, std::map<int, EdgeStorage>& map);
