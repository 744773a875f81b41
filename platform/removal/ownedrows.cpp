#include "removal/ownedrows.h"

#include "schema/kinds.h"
#include "server/servers.h"

namespace qv::removal {
namespace {

bool GoesWith(const record::Field& field) {
  return field.info.references != nullptr && field.info.on_delete == OnDelete::Cascade;
}

bool IsHeldFor(const record::AnyTable& table, int zr) {
  for (const record::Where& rows : RowsOf(table, zr)) {
    if (table.Count(rows) > 0) return true;
  }
  return false;
}

}  // namespace

std::vector<record::Where> RowsOf(const record::AnyTable& table, int zr) {
  std::vector<record::Where> rows;
  if (&table == &server::ServerTable()) rows.push_back(record::Where().Is("id", zr));
  for (const record::Field& field : table.fields()) {
    if (field.info.role == FieldRole::Owner) rows.push_back(record::Where().Is(field.info.column, zr));
  }
  if (!rows.empty()) return rows;
  for (const record::Field& field : table.fields()) {
    if (!GoesWith(field)) continue;
    for (const record::Where& referenced : RowsOf(*schema::KindOf(field.info.references).table, zr)) {
      rows.push_back(record::Where().InRowsOf(field.info.column, field.info.references, referenced));
    }
  }
  return rows;
}

void DeleteRowsOf(const record::AnyTable& table, int zr) {
  for (const record::Where& rows : RowsOf(table, zr)) table.DeleteLater(rows);
}

std::vector<std::string> TablesHolding(int zr) {
  std::vector<std::string> names;
  for (const schema::Kind& kind : schema::Kinds()) {
    if (IsHeldFor(*kind.table, zr)) names.push_back(kind.table->name());
  }
  return names;
}

}  // namespace qv::removal
