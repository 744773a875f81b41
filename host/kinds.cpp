#include "kinds.h"

#include <algorithm>

#include "removal/ownedrows.h"

namespace qv::host {

std::span<const Kind> AllKinds() {
  const std::span<const Kind> kinds = schema::Kinds();
  const auto listed = std::find_if(kinds.begin(), kinds.end(), [](const Kind& kind) { return kind.columns.empty(); });
  return {kinds.begin(), listed};
}

record::Where RowsOf(const Kind& kind, int zr) {
  if (kind.role == Role::Outbox) return record::Where().Is("zr_id", zr);
  return removal::RowsOf(*kind.table, zr).front();
}

const char* StatusColumn(const Kind& kind) {
  for (const record::Field& field : kind.table->fields()) {
    const std::string_view key = field.info.json_key == nullptr ? field.info.column : field.info.json_key;
    if (field.info.role == FieldRole::Status && key == "status") return field.info.column;
  }
  return nullptr;
}

const Kind* FindKind(std::string_view name) {
  const std::span<const Kind> kinds = AllKinds();
  const auto found = std::find_if(kinds.begin(), kinds.end(), [&](const Kind& kind) { return kind.name == name; });
  return found == kinds.end() ? nullptr : &*found;
}

}  // namespace qv::host
