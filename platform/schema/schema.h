/// The schema of the host's database: which tables there are, and the migrations that make them.
#pragma once

#include <span>

#include "../db/database.h"

namespace qv::schema {

/// In order of version. Part of every database that `db::Open` is given.
std::span<const db::Migration> Migrations();

}  // namespace qv::schema
