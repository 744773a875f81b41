/// The table of the cameras' edge storage.
#pragma once

#include "../record/table.h"
#include "edgestorage.h"

namespace qv::devices {

const record::Table<EdgeStorage, EdgeStorageData::Fields>& EdgeStorageTable();

}  // namespace qv::devices
