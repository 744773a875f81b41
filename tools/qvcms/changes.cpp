/// The commands that change the host, or say what they would.

#include <qv/host.h>

#include <optional>

#include "commands.h"
#include "exitcodes.h"
#include "openhost.h"
#include "output.h"
#include "progressline.h"
#include "temporaryfolder.h"

namespace qvcms {
namespace {

/// Makes a call of the host whose progress shows on the terminal. Nothing of that is left when it returns.
template <class Call>
auto WithProgress(Call&& call) {
  ProgressLine line;
  return call(line.Callback());
}

/// Tells of what failed alone. @return the exit status
int TellFailures(const qv::ChangeResult& result, const std::string& rest) {
  const int operations = result.failed_operations;
  if (operations > 0) {
    Complain(std::to_string(operations) + (operations == 1 ? " operation failed, " : " operations failed, ") + rest +
             "; the log tells which");
  }
  const int files = result.failed_files;
  if (files > 0) {
    Complain(std::to_string(files) + (files == 1 ? " file" : " files") +
             " could not be written; the rows were applied, later commands try again; the log tells which");
  }
  return operations + files == 0 ? kDone : kFailed;
}

int Report(const qv::ChangeResult& result, const std::string& text) {
  const int status = TellFailures(result, "the rest was applied");
  PrintApplied(text);
  return status;
}

}  // namespace

int Run(const GlobalOptions& global, const PairOptions& options) {
  const qv::Document snapshot = qv::Document::ReadFile(options.import.document, global.limits);
  snapshot.RequireSnapshot();
  OpenHost host(HostToFill(global));
  const qv::ImportResult result = WithProgress([&](const qv::ProgressCallback& progress) {
    return host.Pair(options.import.zr, snapshot, {.model = options.import.model, .progress = progress});
  });
  const int status = Report(result, FormatImport(global.format, result, IsColored(global.color)));
  TellOfUndelivered(host);
  return status;
}

int Run(const GlobalOptions& global, const UpdateOptions& options) {
  const qv::Document snapshot = qv::Document::ReadFile(options.import.document, global.limits);
  snapshot.RequireSnapshot(options.allow_removals);
  OpenHost host(HostToFill(global));
  const qv::ImportResult result = WithProgress([&](const qv::ProgressCallback& progress) {
    return host.Update(options.import.zr, snapshot,
                       {.model = options.import.model, .allow_removals = options.allow_removals, .progress = progress});
  });
  const int status = Report(result, FormatImport(global.format, result, IsColored(global.color)));
  TellOfUndelivered(host);
  return status;
}

int Run(const GlobalOptions& global, const PlanOptions& options) {
  const qv::Document snapshot = qv::Document::ReadFile(options.import.document, global.limits);
  snapshot.RequireSnapshot(true);
  qv::HostOptions host_options = HostToFill(global);
  std::optional<TemporaryFolder> empty;
  if (!qv::Host::IsIn(host_options)) {
    host_options.data_folder = empty.emplace().path();
    host_options.database.clear();
  }
  OpenHost host(host_options);
  const qv::ImportResult result = WithProgress([&](const qv::ProgressCallback& progress) {
    return host.Plan(options.import.zr, snapshot, {.model = options.import.model, .progress = progress});
  });
  Print(FormatImport(global.format, result, IsColored(global.color)));
  for (const qv::Refusal& refusal : result.refusals) {
    Complain(std::string("update would refuse this without --allow-removals: ") + refusal.what());
  }
  if (const int status = TellFailures(result, "update would apply the rest"); status != kDone) return status;
  return options.exit_code && result.has_changes ? kChanges : kDone;
}

int Run(const GlobalOptions& global, const StatusOptions& options) {
  const qv::Document report = qv::Document::ReadFile(options.document, global.limits);
  report.RequireStatusReport();
  OpenHost host(HostToRead(global));
  const qv::StatusResult result =
      WithProgress([&](const qv::ProgressCallback& progress) { return host.Status(options.zr, report, progress); });
  return Report(result, FormatStatus(global.format, result));
}

int Run(const GlobalOptions& global, const RemoveOptions& options) {
  OpenHost host(HostToRead(global));
  const qv::RemoveResult result = host.Remove(options.zr);
  return Report(result, FormatRemoval(global.format, options.zr, result));
}

int Run(const GlobalOptions& global, const ConfiguringOptions& options) {
  OpenHost host(HostToRead(global));
  const qv::ChangeResult result = host.SetConfiguring(options.device, options.id, options.on);
  const qv::Row row = qv::ConfiguringRow(options.device, options.id, options.on);
  return Report(result, FormatRows(global.format, {"kind", "id", "configuring"}, {row}, true));
}

int Run(const GlobalOptions& global, const MigrateOptions& options) {
  qv::HostOptions from = HostToRead(global);
  from.data_folder = options.from;
  from.database = options.from_database;
  qv::Host::Migrate(from, HostToFill(global));
  return kDone;
}

}  // namespace qvcms
