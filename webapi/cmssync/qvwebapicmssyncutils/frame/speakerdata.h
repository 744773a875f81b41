/// IP speakers of a configuration snapshot.
#pragma once

#include <json/value.h>

/// Brings the host's IP speakers of slave `zrId` in line with the snapshot's "speaker_info" section.
void ReconcileSpeakers(int zrId, const Json::Value& section);
