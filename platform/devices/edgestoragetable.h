/// The table of the cameras' edge storage.
#pragma once

#include "../record/table.h"
#include "edgestorage.h"

namespace qv::devices {

const record::Table<EdgeStorage>& EdgeStorageTable();

}  // namespace qv::devices
