/// The kinds of rows that the host can list.
#pragma once

#include <span>
#include <string_view>

#include "schema/kinds.h"

namespace qv::host {

using schema::Kind;
using schema::Role;

/// Those that have columns to list, in the order of lists.
std::span<const Kind> AllKinds();

/// The rows of the kind that belong to the slave `zr`; 0: to none.
record::Where RowsOf(const Kind& kind, int zr);

/// The column with the state that servers report of the kind's devices; null if they report none.
const char* StatusColumn(const Kind& kind);

/// The kind of that name, or null.
const Kind* FindKind(std::string_view name);

}  // namespace qv::host
