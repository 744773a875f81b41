/// The tables of the device kinds.
#pragma once

#include "../record/table.h"
#include "axisacsctrler.h"
#include "camera.h"
#include "iomodule.h"
#include "ipspeaker.h"
#include "pos.h"

namespace qv::devices {

using CameraTableType = record::Table<Camera, CameraData::Fields>;
const CameraTableType& CameraTable();

using IOModuleTableType = record::Table<IOModule, IOModuleData::Fields>;
const IOModuleTableType& IOModuleTable();

using PosTableType = record::Table<POS, POSData::Fields>;
const PosTableType& PosTable();

using SpeakerTableType = record::Table<IPSpeaker, IPSpeakerData::Fields>;
const SpeakerTableType& SpeakerTable();

using CtrlerTableType = record::Table<AxisAcsCtrler, AxisAcsCtrlerData::Fields>;
const CtrlerTableType& CtrlerTable();

using DoorTableType = record::Table<AxisDoor, AxisDoorData::Fields>;
const DoorTableType& DoorTable();

}  // namespace qv::devices
