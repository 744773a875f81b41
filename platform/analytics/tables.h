/// The tables of the analytics records.
#pragma once

#include "columntable.h"

namespace qv::analytics {

const ColumnTable& IvaTaskTable();
const ColumnTable& FaceTaskTable();
const ColumnTable& CountingWidgetTable();

}  // namespace qv::analytics
