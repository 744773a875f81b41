/// The schema of the host's database, as the database layer asks for it.
#include <fmt/format.h>

#include <string>

#include "capability/filesync.h"
#include "db/database.h"
#include "schema/kinds.h"
#include "schema/versions.h"

namespace qv::schema {
namespace {

std::string FindDifference(const std::string& table, const db::Columns& expected, const db::Columns& found) {
  for (const auto& [column, definition] : expected) {
    const auto here = found.find(column);
    if (here == found.end()) return fmt::format("table {} has no column {}", table, column);
    if (here->second != definition) {
      return fmt::format("column {} of table {} is {}, not {}", column, table, here->second, definition);
    }
  }
  for (const auto& [column, definition] : found) {
    if (!expected.contains(column)) return fmt::format("table {} has an unknown column {}", table, column);
  }
  return "";
}

/// Compares the tables of a database with the field lists of the records. Other tables may be there too.
std::string FindDifference(const db::TableColumns& found) {
  for (const Kind& kind : Kinds()) {
    const std::string& table = kind.table->name();
    const auto here = found.find(table);
    if (here == found.end()) return "there is no table " + table;
    std::string difference = FindDifference(table, kind.table->schema().ColumnDefinitions(), here->second);
    if (!difference.empty()) return difference;
  }
  return "";
}

}  // namespace
}  // namespace qv::schema

namespace qv::db {

const Schema& PlatformSchema() {
  static const char* const versions[] = {schema::kVersion1, schema::kVersion2, schema::kVersion3, schema::kVersion4};
  static const char* const postgresql_versions[] = {schema::kPostgresqlVersion1, schema::kPostgresqlVersion2};
  static const Schema platform{.versions = versions,
                               .postgresql_versions = postgresql_versions,
                               .find_difference = schema::FindDifference,
                               .on_opening = capability::BringFilesUpToDate};
  return platform;
}

}  // namespace qv::db
