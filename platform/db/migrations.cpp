#include "migrations.h"

#include <optional>
#include <string>

#include "session.h"
#include "stagedfiles.h"

namespace qv::db {
namespace {

std::optional<int> ReadVersion(Session& session) {
  Query query = session.Prepare("SELECT version FROM schema_version");
  if (!query.Next()) return std::nullopt;
  return static_cast<int>(query.Row().Int(0));
}

/// The version of a database that may be new: none when the table cannot be read.
std::optional<int> ProbeVersion(Session& session) {
  try {
    return ReadVersion(session);
  } catch (const Error& error) {
    if (error.kind() != Error::Kind::Statement) throw;
    return std::nullopt;
  }
}

/// The tables that this layer keeps for itself.
void MakeOwnTables(Session& session) {
  CreateStagedFileTable(session);  // on its own: every transaction begins with a look at it
  AllOrNothing step(session);
  session.Execute("CREATE TABLE IF NOT EXISTS schema_version (version INTEGER NOT NULL)");
  if (!ReadVersion(session)) session.Execute("INSERT INTO schema_version (version) VALUES (0)");
  step.Keep();
}

void RefuseNewer(Session& session, int found, int known) {
  if (found <= known) return;
  throw Error(Error::Kind::Unusable, "database in " + session.state().folder->path.string() + " has schema version " +
                                         std::to_string(found) + ", this program knows up to " + std::to_string(known) +
                                         ": use the newer program");
}

}  // namespace

void Migrate(Session& session, std::span<const Migration> migrations) {
  const int known = migrations.empty() ? 0 : migrations.back().version;
  std::optional<int> version = ProbeVersion(session);
  if (version) RefuseNewer(session, *version, known);
  if (version == known) return;

  const WriterHold hold(session.state());
  try {
    version = ProbeVersion(session);  // another process may have been faster
    if (!version) MakeOwnTables(session);
    const int reached = version.value_or(0);
    RefuseNewer(session, reached, known);
    for (const Migration& migration : migrations) {
      if (migration.version <= reached) continue;
      AllOrNothing step(session);
      migration.apply(session);
      session.Prepare("UPDATE schema_version SET version = $1").Bind(migration.version).Run();
      step.Keep();
    }
  } catch (const Error& error) {
    if (error.kind() == Error::Kind::Unusable || error.kind() == Error::Kind::Busy) throw;
    throw Error(Error::Kind::Unusable, "cannot bring the database in " + session.state().folder->path.string() +
                                           " to schema version " + std::to_string(known) + ": " + error.what());
  }
}

}  // namespace qv::db
