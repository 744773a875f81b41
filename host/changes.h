/// What a unit of work changed, kind by kind, and whether it removes too much.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "db/database.h"
#include "kinds.h"
#include "qv/host.h"

namespace qv::host {

/// What the kind of a table is called, or would be if it could be listed.
std::string NameOfKind(std::string_view table);

/// The rows that it added, updated and removed so far, kind by kind: what it changed, and rows of others that no longer
/// refer to its slave.
std::vector<KindChanges> ChangesIn(const db::UnitOfWork& work);

/// Watches the rows of one slave through an import: make it before the first change, ask it after the last.
class ChangeReport {
 public:
  ChangeReport(const db::UnitOfWork& work, int zr);

  /// Rows added, updated, removed, and left as they were, kind by kind. Kinds of settings that the slave has nothing of
  /// are left out.
  std::vector<KindChanges> OfImport() const;
  /// Whether rows were added, updated or removed. Messages are none of these.
  bool HasChanges() const;
  /// Says which removals are more than a snapshot is trusted with: more than half of ten or more devices, of one kind
  /// or of all. Empty when there are none.
  std::string ExcessiveRemovals() const;

 private:
  /// How many rows of a kind there are.
  struct Rows {
    std::int64_t owned = 0;   ///< by the slave
    std::int64_t shared = 0;  ///< by no single slave
  };
  using RowsOfKinds = std::map<const Kind*, Rows>;

  static RowsOfKinds CountRows(int zr);
  db::UnitOfWork::Count CountOf(const Kind& kind) const;

  const db::UnitOfWork* work_;
  int zr_;
  const RowsOfKinds before_;
  mutable std::optional<RowsOfKinds> after_;
};

}  // namespace qv::host
