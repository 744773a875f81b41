/// pair, update and plan: a slave's document handed to the library.

#include <json/value.h>
#include <slavezr.h>

#include <optional>

#include "changes.h"
#include "commands.h"
#include "document.h"
#include "documentkind.h"
#include "exitcodes.h"
#include "host.h"
#include "output.h"
#include "qvwebapicmssyncutils.h"
#include "temporaryfolder.h"
#include "unusedentries.h"

namespace qvcms {
namespace {

/// The server record of the slave, with the model that was given, or else the one remembered.
SlaveZR RememberSlave(const Import& import) {
  SlaveZR slave = SlaveZRLoad(import.zr).value_or(SlaveZR());
  slave.SetZrId(import.zr);
  if (import.model) slave.SetZrModel(*import.model);
  if (SlaveZRSave(slave) != 0) {
    throw Failure(kFailed, "the record of server " + std::to_string(import.zr) + " cannot be written");
  }
  return slave;
}

/// Has the library apply the document inside the open unit of work.
void Apply(decltype(SaveSlaveInfoUpdate)& save, const Import& import, const Json::Value& document) {
  const SlaveZR slave = RememberSlave(import);
  try {
    save(slave, document, import.zr);
  } catch (const Json::Exception&) {
    throw WrongTypeSomewhere(import.document, "nothing was applied");
  }
}

}  // namespace

int Run(const GlobalOptions& global, const PairOptions& options) {
  const Json::Value document = ReadSnapshot(options.import.document, options.import.zr, global);
  RequireSections(options.import.document, document);
  const Host host(global);
  qv::db::UnitOfWork work(options.import.zr);
  const ChangeReport report(work, options.import.zr);
  Apply(SaveSlaveInfoPair, options.import, document);
  return CommitAndReport(work, report.Text(global.format, FindUnusedEntries(document, options.import.zr)));
}

int Run(const GlobalOptions& global, const UpdateOptions& options) {
  const Json::Value document = ReadSnapshot(options.import.document, options.import.zr, global);
  if (!options.allow_removals) RequireSections(options.import.document, document);
  const Host host(global);
  qv::db::UnitOfWork work(options.import.zr);
  const ChangeReport report(work, options.import.zr);
  Apply(SaveSlaveInfoUpdate, options.import, document);
  const std::string removals = report.ExcessiveRemovals();
  if (!removals.empty() && !options.allow_removals) {
    throw Failure(kFailed, "refused: the document would remove " + removals +
                               "; nothing was changed. If they are really gone, give --allow-removals");
  }
  return CommitAndReport(work, report.Text(global.format, FindUnusedEntries(document, options.import.zr)));
}

int Run(const GlobalOptions& global, const PlanOptions& options) {
  const Json::Value document = ReadSnapshot(options.import.document, options.import.zr, global);
  std::optional<TemporaryFolder> stand_in;
  if (IsUnused(global.data_dir)) stand_in.emplace();
  const Host host(global, stand_in ? stand_in->path() : global.data_dir);
  qv::db::UnitOfWork never_committed(options.import.zr);
  const ChangeReport report(never_committed, options.import.zr);
  Apply(SaveSlaveInfoUpdate, options.import, document);
  Print(report.Text(global.format, FindUnusedEntries(document, options.import.zr)));
  if (!HasSections(document)) Complain("update would refuse this without --allow-removals: no section of a snapshot");
  const std::string removals = report.ExcessiveRemovals();
  if (!removals.empty()) Complain("update would refuse this without --allow-removals: it removes " + removals);
  const std::string failed = FailedOperations(never_committed);
  if (!failed.empty()) {
    Complain(failed + ", update would apply the rest; the log tells which");
    return kFailed;
  }
  return options.exit_code && report.HasChanges() ? kChanges : kDone;
}

}  // namespace qvcms
