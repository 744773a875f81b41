/// The kinds of rows that the host can list: one line each in kinds.cpp.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "record/table.h"

namespace qv::host {

/// What a kind's rows are to an import.
enum class Role {
  Device,    ///< equipment: losing many at once is guarded against
  Settings,  ///< comes and goes with the document or its devices
  Outbox,    ///< messages: a consequence of changes, not a change
};

struct Kind {
  std::string_view name;
  const record::AnyTable* table;
  Role role;
  /// Column with the id of the slave that a row belongs to; empty: it belongs to that of the row it is a part of.
  std::string_view owner;
  std::vector<std::string_view> columns;  ///< the most telling ones
};

std::span<const Kind> AllKinds();

/// The rows of the kind that belong to the slave `zr`; 0: to none.
record::Where RowsOf(const Kind& kind, int zr);

/// The kind of that name, or null.
const Kind* FindKind(std::string_view name);

}  // namespace qv::host
