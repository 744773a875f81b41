/// Taking a database over into another one, also of another kind.
#pragma once

#include <filesystem>

#include "db/database.h"

namespace qv::db {

/// A database and the data folder that it belongs to.
struct Source {
  std::filesystem::path folder;
  DriverOptions driver;
};

/// Copies every row of `from` into `to`, which must hold none, with the ids that further rows will get. Both are
/// brought to the last version of the schema first. Nothing may be open in this process, and nobody should write to
/// `from`. Throws `Error` (Unusable, Busy, Lost); nothing of the rows is in `to` then.
void CopyDatabase(const Source& from, const Source& to);

}  // namespace qv::db
