/// pair, update and plan: a slave's document handed to the library.

#include <json/value.h>
#include <slavezr.h>

#include <filesystem>
#include <optional>

#include "changes.h"
#include "commands.h"
#include "document.h"
#include "exitcodes.h"
#include "host.h"
#include "output.h"
#include "qvwebapicmssyncutils.h"
#include "temporaryfolder.h"

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
  } catch (const Json::Exception& error) {
    throw WrongType(import.document, document, error.what());
  }
}

/// Whether the host has been used before.
bool HoldsData(const std::filesystem::path& folder) {
  std::error_code unreadable;  // a folder that cannot be looked into is opened, which says why
  return std::filesystem::exists(folder, unreadable) && !std::filesystem::is_empty(folder, unreadable);
}

}  // namespace

int Run(const GlobalOptions& global, const PairOptions& options) {
  const Json::Value document = ReadDocument(options.import.document, global);
  const Host host(global);
  qv::db::UnitOfWork work;
  const ChangeReport report(work, options.import.zr);
  Apply(SaveSlaveInfoPair, options.import, document);
  Print(report.Text(global.format));
  work.Commit();
  return kDone;
}

int Run(const GlobalOptions& global, const UpdateOptions& options) {
  const Json::Value document = ReadDocument(options.import.document, global);
  const Host host(global);
  qv::db::UnitOfWork work;
  const ChangeReport report(work, options.import.zr);
  Apply(SaveSlaveInfoUpdate, options.import, document);
  const std::string removals = report.ExcessiveRemovals();
  if (!removals.empty() && !options.allow_removals) {
    throw Failure(kFailed, "refused: the document would remove " + removals +
                               "; nothing was changed. If they are really gone, give --allow-removals");
  }
  Print(report.Text(global.format));
  work.Commit();
  return kDone;
}

int Run(const GlobalOptions& global, const PlanOptions& options) {
  const Json::Value document = ReadDocument(options.import.document, global);
  GlobalOptions without_traces = global;
  without_traces.log_file.clear();
  // A host that does not exist yet is not brought into being: an empty one elsewhere takes its place.
  std::optional<TemporaryFolder> stand_in;
  if (!HoldsData(global.data_dir)) without_traces.data_dir = stand_in.emplace().path();

  const Host host(without_traces);
  qv::db::UnitOfWork never_committed;
  const ChangeReport report(never_committed, options.import.zr);
  Apply(SaveSlaveInfoUpdate, options.import, document);
  Print(report.Text(global.format));
  const std::string removals = report.ExcessiveRemovals();
  if (!removals.empty()) Complain("update would refuse this without --allow-removals: it removes " + removals);
  return options.exit_code && report.HasChanges() ? kChanges : kDone;
}

}  // namespace qvcms
