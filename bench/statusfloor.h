/// The least work with which a status report can be applied through the library's interface.
#pragma once

#include <json/value.h>

#include "rawsqlite.h"

namespace bench {

/// One SELECT of the slave's cameras, the copy of their map that the interface hands over, a lookup and a comparison
/// for each reported camera, a prepared statement for those that changed. No messages, keys, log or other kinds.
class StatusFloor {
 public:
  explicit StatusFloor(const std::filesystem::path& file);

  /// @return the number of cameras written
  int Apply(const Json::Value& report, int zr);
  const RawDatabase& database() const { return database_; }

 private:
  RawDatabase database_;
  RawStatement select_;
  RawStatement update_;
};

}  // namespace bench
