/// The kinds of rows that `qvcms` can name: one line each in kinds.cpp.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qv::record {
class AnyTable;
}

namespace qvcms {

/// What a kind's rows are to an import.
enum class Role {
  Device,    ///< equipment: losing many at once is guarded against
  Settings,  ///< comes and goes with the document or its devices
  Outbox,    ///< messages: a consequence of changes, not a change
};

struct Kind {
  std::string_view name;  ///< on the command line
  const qv::record::AnyTable* table;
  Role role;
  std::string_view owner;                 ///< column with the id of the slave that a row belongs to
  std::vector<std::string_view> columns;  ///< shown in a table; all of them with --wide or in JSON
};

std::span<const Kind> Kinds();

/// The kind of that name, or null.
const Kind* FindKind(std::string_view name);

/// Every name, joined by ", ".
std::string KindNames();

}  // namespace qvcms
