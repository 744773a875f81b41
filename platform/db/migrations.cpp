#include "migrations.h"

#include <string>

#include "session.h"

namespace qv::db {
namespace {

std::string Named(const Session::State& state) { return "the database in " + state.folder->path.string(); }

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
    if (name == "schema_version" || name == "staged_file") continue;
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

/// Lets rows refer to rows that are not there for as long as it exists.
class LooseReferences {
 public:
  explicit LooseReferences(Connection& connection) : connection_(connection) { connection_.EnforceReferences(false); }
  ~LooseReferences() { connection_.EnforceReferences(true); }
  LooseReferences(const LooseReferences&) = delete;
  LooseReferences& operator=(const LooseReferences&) = delete;

 private:
  Connection& connection_;
};

/// Refuses a database of the known version whose columns are not those that the program needs.
void CheckColumns(const Session::State& state, const Schema& schema, const TableColumns& tables) {
  const std::string difference = schema.find_difference(tables);
  if (!difference.empty()) {
    Refuse(state, "does not fit its schema version " + std::to_string(schema.versions.size()) + ": " + difference +
                      "; restore it from a backup");
  }
}

/// With the writer lock held.
void Upgrade(Session& session, const Schema& schema, int from) {
  Connection& connection = session.connection();
  const int known = static_cast<int>(schema.versions.size());
  const LooseReferences loose(connection);
  AllOrNothing whole(session);
  for (const char* version : schema.versions.subspan(static_cast<std::size_t>(from))) session.Execute(version);
  session.Execute("CREATE TABLE IF NOT EXISTS schema_version (version INTEGER NOT NULL); DELETE FROM schema_version");
  session.Prepare("INSERT INTO schema_version (version) VALUES ($1)").Bind(known).Run();
  CheckColumns(session.state(), schema, connection.ReadColumns());
  whole.Keep();
}

}  // namespace

void BringToSchema(Session& session, const Schema& schema) {
  Session::State& state = session.state();
  Connection& connection = *state.connection;
  const int known = static_cast<int>(schema.versions.size());
  Found found = Examine(session, known);
  if (found.version == known && !connection.NeedsSetUp() && schema.find_difference(found.tables).empty()) return;

  const WriterHold hold(state);
  try {
    if (connection.NeedsSetUp()) connection.SetUp();
    found = Examine(session, known);  // another process may have been faster
    if (found.version < known) {
      Upgrade(session, schema, found.version);
    } else {
      CheckColumns(state, schema, found.tables);
    }
  } catch (const Error& error) {
    if (error.kind() == Error::Kind::Unusable || error.kind() == Error::Kind::Busy) throw;
    throw Error(Error::Kind::Unusable,
                "cannot bring " + Named(state) + " to schema version " + std::to_string(known) + ": " + error.what());
  }
}

}  // namespace qv::db
