/// The least work with which a snapshot can be applied through the library's interface.
#pragma once

#include <json/value.h>

#include <unordered_map>
#include <vector>

#include "rawsqlite.h"

namespace bench {

/// One SELECT of the slave's rows into flat memory, one copy of each entry (the interface passes it by value), a
/// comparison of the reported fields, prepared statements for the rows that changed, one transaction around it all.
/// It knows the camera table and nothing else: no messages, no log, no other kinds, no types but those it expects.
class SnapshotFloor {
 public:
  explicit SnapshotFloor(const std::filesystem::path& file);

  /// @return the number of rows written
  int Apply(const Json::Value& cameras, int zr);
  const RawDatabase& database() const { return database_; }

 private:
  struct Cell {
    std::int64_t number;  ///< of a text: where it begins in `texts_`
    std::size_t length;
  };
  struct Row {
    std::int64_t id;
    std::size_t first_cell;
  };

  void Load(int zr);
  bool Equals(const Row& row, const Json::Value& entry) const;
  void Write(sqlite3_stmt* statement, const Json::Value& entry, std::int64_t last_parameter);

  RawDatabase database_;
  RawStatement select_;
  RawStatement insert_;
  RawStatement update_;
  RawStatement delete_;
  RawStatement begin_;
  RawStatement commit_;
  std::unordered_map<int, Row> rows_;  ///< by id on the slave
  std::vector<Cell> cells_;            ///< the reported columns of each row, in the order of their keys
  std::string texts_;
  std::vector<std::string> nested_;  ///< nested values as text, while they are bound
};

}  // namespace bench
