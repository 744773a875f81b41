/// The table of the slaves.
#pragma once

#include "record/table.h"
#include "slavezr.h"

namespace qv::server {

const record::Table<SlaveZR>& ServerTable();

}  // namespace qv::server
