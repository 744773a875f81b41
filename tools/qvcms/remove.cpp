/// remove: everything that the host holds for a slave goes.

#include <string>

#include "changes.h"
#include "commands.h"
#include "exitcodes.h"
#include "host.h"
#include "output.h"
#include "qvwebapicmssyncutils.h"
#include "server/ownedrows.h"

namespace qvcms {
namespace {

/// Throws `Failure` when the library could not delete something, or did not know of it.
void CheckNothingIsLeft(const qv::db::UnitOfWork& work, int zr, int result) {
  const std::string server = "server " + std::to_string(zr);
  if (result != 0 || work.failures() > 0) {
    throw Failure(kFailed, server + " is not removed: a step failed, the log tells which; no row was changed");
  }
  std::string tables;
  for (const std::string& table : qv::server::TablesHolding(zr)) tables += (tables.empty() ? "" : ", ") + table;
  if (!tables.empty()) {
    throw Failure(kFailed, server + " is not removed: rows of it would stay in " + tables + "; no row was changed");
  }
}

}  // namespace

int Run(const GlobalOptions& global, const RemoveOptions& options) {
  const std::string nothing =
      global.format == Format::Json ? "[]\n" : "nothing was held for server " + std::to_string(options.zr) + '\n';
  if (IsUnused(global.data_dir)) {
    Print(nothing);
    return kDone;
  }
  const Host host(global);
  qv::db::UnitOfWork work(options.zr);
  if (qv::server::TablesHolding(options.zr).empty()) {  // the key file may be that of another host on this machine
    Print(nothing);
    return kDone;
  }
  const ChangeReport report(work, options.zr);
  const int result = SyncRelatedTableForSlaveDel(options.zr);
  RemoveSlaveData(options.zr);
  CheckNothingIsLeft(work, options.zr, result);
  return CommitAndReport(work, report.RemovalText(global.format));
}

}  // namespace qvcms
