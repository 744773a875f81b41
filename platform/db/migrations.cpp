#include "db/migrations.h"

#include <string>

#include "db/transaction.h"

namespace qv::db {
namespace {

std::string Named(const Session::State& state) { return state.connection->Name(); }

[[noreturn]] void Refuse(const Session::State& state, const std::string& reason) {
  throw Error(Error::Kind::Unusable, Named(state) + " " + reason);
}

/// What a database says of itself.
struct Found {
  TableColumns tables;
  int version = 0;  ///< 0: the tables are still to be made
};

bool HasVersionTable(const TableColumns& tables) {
  const auto table = tables.find("schema_version");
  return table != tables.end() && table->second.contains("version");
}

/// Refuses a database that has tables but says no version.
void CheckIsNew(const Session::State& state, const TableColumns& tables) {
  for (const auto& [name, columns] : tables) {
    if (name == "schema_version") continue;
    if (HasVersionTable(tables)) {
      Refuse(state, "has lost its schema version (table schema_version): restore it from a backup");
    }
    Refuse(state, "belongs to another program (it has a table " + name + "): name another folder");
  }
}

/// Throws `Error` (Unusable) for a database that is not the program's, or newer than the program.
Found Examine(Session& session, int known) {
  Session::State& state = session.state();
  Found found{.tables = state.connection->ReadColumns()};
  if (HasVersionTable(found.tables)) {
    Query query = session.Prepare("SELECT version FROM schema_version");
    if (query.Next()) found.version = static_cast<int>(query.Row().Int(0));
  }
  if (found.version < 1) CheckIsNew(state, found.tables);
  if (found.version > known) {
    Refuse(state, "has schema version " + std::to_string(found.version) + ", this program knows up to " +
                      std::to_string(known) + ": use the newer program");
  }
  return found;
}

std::span<const char* const> VersionsFor(const Session::State& state, const Schema& schema) {
  return state.connection->dialect() == Dialect::Sqlite ? schema.versions : schema.postgresql_versions;
}

/// Refuses a database of the known version whose columns are not those that the program needs.
void CheckColumns(const Session::State& state, const Schema& schema, const TableColumns& tables) {
  const std::string difference = schema.find_difference(tables);
  if (!difference.empty()) {
    Refuse(state, "does not fit its schema version " + std::to_string(VersionsFor(state, schema).size()) + ": " +
                      difference + "; restore it from a backup");
  }
}

/// Applies the versions that are missing, unless another process has been faster.
void Upgrade(Session& session, const Schema& schema) {
  Session::State& state = session.state();
  const std::span<const char* const> versions = VersionsFor(state, schema);
  const int known = static_cast<int>(versions.size());
  Transaction whole(session, {.kind = Scope::Kind::Schema}, state.folder->options.driver.busy_timeout);
  const Found found = Examine(session, known);
  if (found.version == known) return CheckColumns(state, schema, found.tables);
  for (const char* version : versions.subspan(static_cast<std::size_t>(found.version))) {
    RunText(session, version, nullptr);
  }
  RunText(session, "CREATE TABLE IF NOT EXISTS schema_version (version INTEGER NOT NULL); DELETE FROM schema_version",
          nullptr);
  session.Prepare("INSERT INTO schema_version (version) VALUES ($1)").Bind(known).Run();
  CheckColumns(state, schema, state.connection->ReadColumns());
  whole.Commit();
}

}  // namespace

void BringToSchema(Session& session, const Schema& schema) {
  const Session::State& state = session.state();
  const int known = static_cast<int>(VersionsFor(state, schema).size());
  const Found found = Examine(session, known);
  try {
    state.connection->Accept();
    if (found.version < known || !schema.find_difference(found.tables).empty()) Upgrade(session, schema);
  } catch (const Error& error) {
    if (error.kind() == Error::Kind::Unusable || error.kind() == Error::Kind::Busy) throw;
    throw Error(Error::Kind::Unusable,
                "cannot bring " + Named(state) + " to schema version " + std::to_string(known) + ": " + error.what());
  }
}

}  // namespace qv::db
