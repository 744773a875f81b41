/// The tables of the device kinds.
#pragma once

#include "../record/table.h"
#include "axisacsctrler.h"
#include "camera.h"
#include "iomodule.h"
#include "ipspeaker.h"
#include "pos.h"

namespace qv::devices {

using CameraTableType = record::Table<Camera>;
const CameraTableType& CameraTable();

using IOModuleTableType = record::Table<IOModule>;
const IOModuleTableType& IOModuleTable();

using PosTableType = record::Table<POS>;
const PosTableType& PosTable();

using SpeakerTableType = record::Table<IPSpeaker>;
const SpeakerTableType& SpeakerTable();

using CtrlerTableType = record::Table<AxisAcsCtrler>;
const CtrlerTableType& CtrlerTable();

using DoorTableType = record::Table<AxisDoor>;
const DoorTableType& DoorTable();

}  // namespace qv::devices
