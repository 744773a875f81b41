/// The obvious alternative in SQL: the database takes the document apart and merges it with the table.
#pragma once

#include <string>

#include "rawsqlite.h"

namespace bench {

/// `json_each` over the document's text, `INSERT ... ON CONFLICT DO UPDATE ... WHERE` changed, `DELETE ... NOT IN`.
class SetMerge {
 public:
  explicit SetMerge(const std::filesystem::path& file);

  /// Merges the snapshot in one transaction. @return the number of rows written
  int Apply(const std::string& snapshot, int zr);
  const RawDatabase& database() const { return database_; }

 private:
  RawDatabase database_;
  RawStatement merge_;
  RawStatement delete_;
};

}  // namespace bench
