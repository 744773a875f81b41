/// POS terminals of a configuration snapshot.
#pragma once

#include <json/value.h>

/// Brings the host's POS terminals of slave `zrId` in line with the snapshot's "POS_info" section.
void ReconcilePOSs(int zrId, const Json::Value& section);
