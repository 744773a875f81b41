/// Sections of a slave's document that the host keeps entry by entry, each tied to the device that it speaks of.
#pragma once

#include "record/table.h"

namespace qv::devices {

const record::AnyTable& CameraDetectionSettingTable();
const record::AnyTable& CameraDeviceOutputTable();
const record::AnyTable& RecShareTable();
const record::AnyTable& CtrlerActionRuleTable();
const record::AnyTable& IOModuleSettingTable();
const record::AnyTable& IOModuleCamPairingTable();
const record::AnyTable& PosEventConfTable();

}  // namespace qv::devices
