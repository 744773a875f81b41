/// Pair, Update and Plan: a server's snapshot handed to the library.

#include <slavezr.h>

#include "changes.h"
#include "guard.h"
#include "json/storable.h"
#include "progress.h"
#include "qvwebapicmssyncutils.h"
#include "unusedentries.h"

namespace qv {
namespace {

void CheckModel(const ImportOptions& options) {
  const char* const reason = options.model ? json::WhyNotStorableText(*options.model) : nullptr;
  if (reason != nullptr) {
    throw Refusal(RefusalCode::BadArgument, std::string("the model cannot be kept: ") + reason);
  }
}

/// The record of the server, with the model that was given, or else the one remembered.
SlaveZR RememberServer(int zr, const ImportOptions& options) {
  SlaveZR server = SlaveZRLoad(zr).value_or(SlaveZR());
  server.SetZrId(zr);
  if (options.model) server.SetZrModel(*options.model);
  if (SlaveZRSave(server) != 0) {
    throw Refusal(RefusalCode::Failed, "the record of server " + std::to_string(zr) + " cannot be written");
  }
  return server;
}

/// A snapshot that has been applied in a unit of work which is not committed yet.
struct Applied {
  ImportResult result;
  std::string excessive_removals;
};

Applied Apply(decltype(SaveSlaveInfoUpdate)& save, db::UnitOfWork& work, int zr, const Document& snapshot,
              const ImportOptions& options) {
  const host::ChangeReport report(work, zr);
  schema::ForeseeSnapshot(zr);
  const host::ProgressReport progress_report(snapshot, options.progress);
  const SlaveZR server = RememberServer(zr, options);
  save(server, snapshot.value(), zr);
  Applied applied{.result = {}, .excessive_removals = report.ExcessiveRemovals()};
  applied.result.changes = report.OfImport();
  applied.result.has_changes = report.HasChanges();
  applied.result.unused = host::FindUnusedEntries(snapshot.value(), zr);
  applied.result.failed_operations = work.failures();
  return applied;
}

Refusal TooManyRemovals(const std::string& removals) {
  return {RefusalCode::TooManyRemovals, "the document would remove " + removals + "; nothing was changed"};
}

}  // namespace

ImportResult Host::Pair(int zr, const Document& snapshot, const ImportOptions& options) {
  return host::GuardedAgain([&] {
    const host::Stopwatch stopwatch;
    host::CheckServerId(zr);
    CheckModel(options);
    RequireData();
    snapshot.RequireSnapshot();
    db::UnitOfWork work(zr);
    Applied applied = Apply(SaveSlaveInfoPair, work, zr, snapshot, options);
    host::Commit(work, applied.result);
    applied.result.took = stopwatch.Elapsed();
    return std::move(applied.result);
  });
}

ImportResult Host::Update(int zr, const Document& snapshot, const ImportOptions& options) {
  return host::GuardedAgain([&] {
    const host::Stopwatch stopwatch;
    host::CheckServerId(zr);
    CheckModel(options);
    RequireData();
    snapshot.RequireSnapshot(options.allow_removals);
    db::UnitOfWork work(zr);
    Applied applied = Apply(SaveSlaveInfoUpdate, work, zr, snapshot, options);
    if (!options.allow_removals && !applied.excessive_removals.empty()) {
      throw TooManyRemovals(applied.excessive_removals);
    }
    host::Commit(work, applied.result);
    applied.result.took = stopwatch.Elapsed();
    return std::move(applied.result);
  });
}

ImportResult Host::Plan(int zr, const Document& snapshot, const ImportOptions& options) {
  return host::GuardedAgain([&] {
    const host::Stopwatch stopwatch;
    host::CheckServerId(zr);
    CheckModel(options);
    RequireData();
    snapshot.RequireSnapshot(true);
    db::UnitOfWork never_committed(zr);
    Applied applied = Apply(SaveSlaveInfoUpdate, never_committed, zr, snapshot, options);
    never_committed.CheckNotLost();
    if (snapshot.kind() == DocumentKind::Neither) {
      applied.result.refusals.emplace_back(RefusalCode::EmptyDocument, "no section of a snapshot");
    }
    if (!applied.excessive_removals.empty()) {
      applied.result.refusals.emplace_back(RefusalCode::TooManyRemovals, "it removes " + applied.excessive_removals);
    }
    applied.result.took = stopwatch.Elapsed();
    return std::move(applied.result);
  });
}

}  // namespace qv
