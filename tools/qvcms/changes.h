/// What a unit of work changed, kind by kind, and whether it removes too much.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "db/database.h"
#include "options.h"
#include "sections.h"

namespace qvcms {

/// Watches the rows of one slave through a unit of work: make it before the first change, ask it after the last.
class ChangeReport {
 public:
  ChangeReport(const qv::db::UnitOfWork& work, int zr);

  /// One line per kind: rows added, updated, removed, and those left as they were. Kinds of settings that the slave
  /// has nothing of are left out. Then the entries of the document that were not used.
  std::string Text(Format format, const std::vector<Fault>& unused) const;
  /// What a removal did, one line per kind: rows removed, and rows of others that no longer speak of the slave.
  std::string RemovalText(Format format) const;
  /// Whether rows were added, updated or removed. Messages are none of these.
  bool HasChanges() const;
  /// Says which removals are more than a snapshot is trusted with: more than half of ten or more devices, of one kind
  /// or of all. Empty when there are none.
  std::string ExcessiveRemovals() const;

 private:
  qv::db::UnitOfWork::Count CountOf(const Kind& kind) const;

  const qv::db::UnitOfWork* work_;
  int zr_;
  /// How many rows of a kind there are.
  struct Rows {
    std::int64_t owned = 0;   ///< by the slave
    std::int64_t shared = 0;  ///< by no single slave
  };
  static Rows CountRows(const Kind& kind, int zr);
  std::map<const Kind*, Rows> before_;
};

}  // namespace qvcms
