/// The raw SQLite C API, with nothing added but that handles close themselves and errors throw. For the yardsticks,
/// which must not share the library's database code.
#pragma once

#include <sqlite3.h>

#include <filesystem>
#include <memory>
#include <string>

namespace bench {

struct CloseRaw {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using RawStatement = std::unique_ptr<sqlite3_stmt, CloseRaw>;

class RawDatabase {
 public:
  /// Opens the file with the settings that the embedded driver uses.
  RawDatabase(const std::filesystem::path& file, bool durable);

  RawStatement Prepare(const std::string& sql) const;
  void Execute(const std::string& script) const;
  /// Throws unless `code` is SQLITE_OK, SQLITE_ROW or SQLITE_DONE. @return whether there is a row
  bool Check(int code) const;
  /// Runs a prepared statement that gives no rows, and makes it ready for the next time.
  void Run(sqlite3_stmt* statement) const;
  sqlite3* get() const { return database_.get(); }

 private:
  std::unique_ptr<sqlite3, CloseRaw> database_;
};

/// A digest of every column but the id of the slave's cameras, in the order of their ids on the slave.
std::string DigestOfCameras(const RawDatabase& database, int zr);

}  // namespace bench
