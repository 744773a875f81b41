/// The tables of the device kinds.
#pragma once

#include "axisacsctrler.h"
#include "camera.h"
#include "edgestorage.h"
#include "iomodule.h"
#include "ipspeaker.h"
#include "pos.h"
#include "record/table.h"

namespace qv::devices {

using CameraTableType = record::Table<Camera>;
const CameraTableType& CameraTable();

const record::Table<EdgeStorage>& EdgeStorageTable();

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
