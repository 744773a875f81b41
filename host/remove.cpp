/// Remove: everything that the host holds for a server goes.

#include "changes.h"
#include "guard.h"
#include "qvwebapicmssyncutils.h"
#include "removal/ownedrows.h"

namespace qv {
namespace {

/// Throws `Refusal` when the library could not delete something, or did not know of it.
void CheckNothingIsLeft(const db::UnitOfWork& work, int zr, int result) {
  const std::string server = "server " + std::to_string(zr);
  if (result != 0 || work.failures() > 0) {
    throw Refusal(RefusalCode::NotRemoved,
                  server + " is not removed: a step failed, the log tells which; no row was changed");
  }
  std::string tables;
  for (const std::string& table : removal::TablesHolding(zr)) tables += (tables.empty() ? "" : ", ") + table;
  if (!tables.empty()) {
    throw Refusal(RefusalCode::NotRemoved,
                  server + " is not removed: rows of it would stay in " + tables + "; no row was changed");
  }
}

}  // namespace

// NOLINTNEXTLINE(readability-make-member-function-const): it changes the host
RemoveResult Host::Remove(int zr) {
  return host::GuardedAgain([&] {
    const host::Stopwatch stopwatch;
    host::CheckServerId(zr);
    RemoveResult removed;
    if (!has_data_) return removed;
    db::UnitOfWork work(zr);
    // Otherwise the file of stream keys may be that of another host on this machine.
    removed.was_held = !removal::TablesHolding(zr).empty();
    if (removed.was_held) {
      const int result = SyncRelatedTableForSlaveDel(zr);
      RemoveSlaveData(zr);
      CheckNothingIsLeft(work, zr, result);
      host::Commit(work, removed);
      removed.changes = host::ChangesIn(work);  // known by now, without waiting for them
    }
    removed.took = stopwatch.Elapsed();
    return removed;
  });
}

}  // namespace qv
