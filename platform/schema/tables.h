/// The tables of the host's database.
#pragma once

#include <span>
#include <string_view>

#include "../record/table.h"

namespace qv::schema {

/// Every table, in an order in which references point backwards.
std::span<const record::AnyTable* const> Tables();

/// The table of that name. Throws `std::logic_error` when there is none.
const record::AnyTable& TableNamed(std::string_view name);

}  // namespace qv::schema
