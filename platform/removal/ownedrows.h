/// Which rows of any table belong to a server. The field lists say so: a row belongs to the servers that its owner
/// columns name; a row of a table without such a column belongs with the row whose deletion would take it along.
#pragma once

#include <string>
#include <vector>

#include "record/table.h"

namespace qv::removal {

/// The rows of `table` that belong to the server `zr`, as conditions any of which may hold. Under server 0 stands
/// what belongs to the host itself.
std::vector<record::Where> RowsOf(const record::AnyTable& table, int zr);

/// Deletes them and counts them as removed, without waiting for it in a unit of work that sends its writes ahead.
/// Throws `db::Error`.
void DeleteRowsOf(const record::AnyTable& table, int zr);

/// The tables, but for the outbox, that hold rows of the server `zr`. Throws `db::Error`.
std::vector<std::string> TablesHolding(int zr);

}  // namespace qv::removal
