#include "hoststate.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>

#include "testdatabase.h"

namespace support {
namespace {

using Database = std::unique_ptr<sqlite3, decltype(&sqlite3_close_v2)>;

Database Open(const std::filesystem::path& folder, int flags = SQLITE_OPEN_READWRITE) {
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2((folder / "qvcms.db").c_str(), &opened, flags, nullptr);
  sqlite3_busy_timeout(opened, 5000);  // of one who tidies up after a killed process
  Database database(opened, sqlite3_close_v2);
  if (code != SQLITE_OK) throw std::runtime_error("cannot open the database in " + folder.string());
  // Looking must not tidy up: the next process shall find what the last one left.
  sqlite3_db_config(opened, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  return database;
}

std::vector<std::string> Select(sqlite3* database, const std::string& sql) {
  std::vector<std::string> rows;
  const auto add_row = [](void* all, int columns, char** texts, char** /*names*/) {
    std::string& row = static_cast<std::vector<std::string>*>(all)->emplace_back();
    for (int column = 0; column < columns; ++column) {
      if (column > 0) row += '|';
      row += texts[column] == nullptr ? "null" : texts[column];
    }
    return 0;
  };
  if (sqlite3_exec(database, sql.c_str(), add_row, &rows, nullptr) != SQLITE_OK) {
    throw std::runtime_error(sql + ": " + sqlite3_errmsg(database));
  }
  return rows;
}

/// A folder that has a database keeps its rows there, whatever the other tests use.
bool IsElsewhere(const std::filesystem::path& folder) {
  return OnPostgresql() && !std::filesystem::exists(folder / "qvcms.db");
}

/// The names of a table's columns, joined by ",".
std::string ColumnsOf(const std::filesystem::path& folder, const std::string& table) {
  if (!IsElsewhere(folder)) {
    return QueryFolder(folder, "SELECT group_concat(name) FROM pragma_table_info('" + table +
                                   "') WHERE name NOT IN ('last_report','revision','created')")[0];
  }
  return QueryFolder(folder,
                     "SELECT string_agg(column_name, ',' ORDER BY ordinal_position) FROM information_schema.columns "
                     "WHERE table_schema = current_schema() AND table_name = '" +
                         table + "' AND column_name NOT IN ('last_report','revision','created')")[0];
}

}  // namespace

std::vector<std::string> TablesIn(const std::filesystem::path& folder) {
  if (!IsElsewhere(folder))
    return QueryFolder(folder, "SELECT name FROM sqlite_schema WHERE type = 'table' ORDER BY name");
  return QueryFolder(folder,
                     "SELECT tablename FROM pg_tables WHERE schemaname = current_schema() AND tablename NOT IN "
                     "('journal','commit_mark') "
                     "ORDER BY tablename");
}

std::string QueryForAllRows(const std::filesystem::path& folder) {
  std::string query;
  for (const std::string& table : TablesIn(folder)) {
    const std::string columns = ColumnsOf(folder, table);
    if (columns == "null") continue;  // of the revisions, which no two runs have in common
    query += (query.empty() ? "SELECT '" : " UNION ALL SELECT '") + table + "'";
    std::istringstream names(columns);
    for (std::string name; std::getline(names, name, ',');) {
      query += "||'|" + name + "='||COALESCE(CAST(" + name + " AS TEXT),'null')";
    }
    query += " FROM " + table;
  }
  return query;
}

std::vector<std::string> DumpDatabase(const std::filesystem::path& folder) {
  std::vector<std::string> lines = QueryFolder(folder, QueryForAllRows(folder));
  std::sort(lines.begin(), lines.end());
  return lines;
}

std::vector<std::string> DumpFiles(const std::filesystem::path& folder) {
  const std::regex own("qvcms\\.db.*|capability\\.stamp|writer\\.lock|device-cache\\.shm");
  std::vector<std::string> lines;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    const std::string name = entry.path().lexically_relative(folder).string();
    if (std::regex_match(name, own) || !entry.is_regular_file()) continue;
    const auto mode = static_cast<unsigned>(entry.status().permissions());
    lines.push_back(name + " " + std::to_string(mode) + " " + ReadWholeFile(entry.path()));
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}

std::vector<std::string> FindDamage(const std::filesystem::path& folder) {
  if (IsElsewhere(folder)) return {};  // the server sees to it
  return QueryFolder(
      folder,
      "SELECT integrity_check FROM pragma_integrity_check WHERE integrity_check <> 'ok' UNION ALL "
      "SELECT 'reference that leads nowhere: ' || \"table\" || ' ' || rowid FROM pragma_foreign_key_check");
}

std::vector<std::string> QueryFolder(const std::filesystem::path& folder, const std::string& sql) {
  if (IsElsewhere(folder)) return QueryPostgresql(DatabaseOf(folder), sql);
  return Select(Open(folder).get(), sql);
}

void ExecuteInFolder(const std::filesystem::path& folder, const std::string& sql) {
  if (IsElsewhere(folder)) return static_cast<void>(QueryPostgresql(DatabaseOf(folder), sql));
  Select(Open(folder, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE).get(), sql);
}

std::vector<std::array<int, 4>> ReadDeviceCache(const std::filesystem::path& folder) {
  const std::string bytes = ReadWholeFile(folder / "device-cache.shm");
  std::uint32_t head[6] = {};  // magic, layout, capacity, count, sequence
  std::memcpy(head, bytes.data(), std::min(bytes.size(), sizeof head));
  if (!bytes.starts_with("QVDC") || head[1] != 1 || head[3] > head[2] || 64 + head[2] * 16 > bytes.size() ||
      head[4] % 2 != 0) {
    throw std::runtime_error("no sound device cache");
  }
  std::vector<std::array<int, 4>> entries(head[3]);
  std::memcpy(entries.data(), bytes.data() + 64, entries.size() * 16);
  return entries;
}

std::string ReadWholeFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string FirstDifference(const std::vector<std::string>& one, const std::vector<std::string>& other) {
  const auto [left, right] = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
  return (left == one.end() ? "(nothing)" : *left) + "\n  against " + (right == other.end() ? "(nothing)" : *right);
}

}  // namespace support
