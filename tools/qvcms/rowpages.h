/// The rows of one kind, a page at a time.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "db/database.h"
#include "kinds.h"

namespace qvcms {

/// Reads rows in the order of their ids. All pages show the state of the database when the first one was read; let go
/// of the object soon, since what is committed meanwhile has to be kept apart until then.
class RowPages {
 public:
  /// @param zr     only what belongs to this slave
  /// @param after  only rows with greater ids
  RowPages(const Kind& kind, std::optional<int> zr, int after);
  /// The next rows, `limit` at most; none at the end. Throws `qv::db::Error`.
  std::vector<qv::record::ListedRow> Next(std::size_t limit);

 private:
  const Kind& kind_;
  const qv::record::Where where_;
  std::int64_t last_;
  qv::db::Query ids_;
  qv::db::Query hold_;  ///< stays at its first row: until it is let go, the connection reads from one state
};

}  // namespace qvcms
