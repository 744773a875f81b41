#include "rawsqlite.h"

#include <cstring>
#include <stdexcept>

#include "columns.h"

namespace bench {

RawDatabase::RawDatabase(const std::filesystem::path& file, bool durable) {
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  database_.reset(opened);
  Check(code);
  Execute(
      "PRAGMA journal_mode = WAL; PRAGMA foreign_keys = ON; PRAGMA trusted_schema = OFF; PRAGMA cache_spill = OFF;"
      "PRAGMA temp_store = MEMORY; PRAGMA cell_size_check = ON");
  Execute(durable ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL");
}

RawStatement RawDatabase::Prepare(const std::string& sql) const {
  sqlite3_stmt* statement = nullptr;
  Check(sqlite3_prepare_v3(get(), sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
  return RawStatement(statement);
}

void RawDatabase::Execute(const std::string& script) const {
  Check(sqlite3_exec(get(), script.c_str(), nullptr, nullptr, nullptr));
}

bool RawDatabase::Check(int code) const {
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_OK && code != SQLITE_DONE) throw std::runtime_error(sqlite3_errmsg(get()));
  return false;
}

void RawDatabase::Run(sqlite3_stmt* statement) const {
  Check(sqlite3_step(statement));
  Check(sqlite3_reset(statement));
}

std::string DigestOfCameras(const RawDatabase& database, int zr) {
  const RawStatement rows = database.Prepare("SELECT " + ColumnNames(CameraColumns()) +
                                             " FROM camera WHERE owner_zr_id=?1 ORDER BY id_on_rec_server, id");
  database.Check(sqlite3_bind_int(rows.get(), 1, zr));
  std::uint64_t hash = 14695981039346656037U;  // FNV-1a
  int count = 0;
  for (; database.Check(sqlite3_step(rows.get())); ++count) {
    for (int column = 0; column < sqlite3_column_count(rows.get()); ++column) {
      const unsigned char* text = sqlite3_column_text(rows.get(), column);
      if (text == nullptr) throw std::runtime_error("a column of a camera is null");
      for (; *text != 0; ++text) hash = (hash ^ *text) * 1099511628211U;
      hash = (hash ^ 0x1f) * 1099511628211U;
    }
  }
  return std::to_string(count) + " cameras, " + std::to_string(hash);
}

}  // namespace bench
