/// The tables of counting task groups and of the widgets in them.
#pragma once

#include "../record/table.h"

namespace qv::analytics {

const record::AnyTable& TaskGroupTable();
const record::AnyTable& TaskGroupWidgetTable();

}  // namespace qv::analytics
