/// How such a step is written first: a list of rows, a scan of it for each entry, and each row saved by itself.
#pragma once

#include <json/value.h>

#include <list>
#include <string>
#include <vector>

#include "rawsqlite.h"

namespace bench {

class RowLoop {
 public:
  RowLoop(const std::filesystem::path& file, bool durable) : database_(file, durable) {}

  /// @return the number of rows written
  int Apply(const Json::Value& cameras, int zr);
  const RawDatabase& database() const { return database_; }

 private:
  struct Row {
    std::int64_t id = 0;
    int id_on_slave = 0;
    std::vector<std::string> values = {};  ///< the reported columns, in the order of their keys
  };
  std::list<Row> Load(int zr) const;
  void Save(const Row& row, int zr) const;

  RawDatabase database_;
};

}  // namespace bench
