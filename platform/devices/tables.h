/// The tables of the device kinds.
#pragma once

#include "../record/table.h"
#include "camera.h"
#include "ipspeaker.h"
#include "pos.h"

namespace qv::devices {

using CameraTableType = record::Table<Camera, CameraData::Fields>;
const CameraTableType& CameraTable();

using PosTableType = record::Table<POS, POSData::Fields>;
const PosTableType& PosTable();

using SpeakerTableType = record::Table<IPSpeaker, IPSpeakerData::Fields>;
const SpeakerTableType& SpeakerTable();

}  // namespace qv::devices
