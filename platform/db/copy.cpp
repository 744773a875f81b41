#include "db/copy.h"

#include "db/session.h"
#include "db/transaction.h"
#include "record/table.h"
#include "schema/kinds.h"

namespace qv::db {
namespace {

/// Opens a database for as long as it exists.
class Opened {
 public:
  explicit Opened(const Source& source) { Open(source.folder, {.driver = source.driver, .factory = {}}); }
  ~Opened() { Close(); }
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;
};

/// To a database that has been opened before, and has its schema.
std::unique_ptr<Session> ConnectTo(const Source& source) {
  Options options;
  options.driver = source.driver;
  auto folder = std::make_shared<Folder>(source.folder, options);
  std::unique_ptr<Session> session = Connect(std::move(folder));
  session->connection().Accept();
  return session;
}

void Bind(Query& query, const Statement& row, int column, const std::string& definition) {
  if (row.IsNull(column)) {
    query.BindNull();
  } else if (definition.starts_with("INTEGER")) {
    query.Bind(row.Int(column));
  } else if (definition.starts_with("REAL")) {
    query.Bind(row.Real(column));
  } else {
    query.Bind(row.Text(column));
  }
}

void CopyRows(Session& from, Session& to, const std::string& table, const Columns& columns) {
  std::string names;
  std::string parameters;
  int count = 0;
  for (const auto& [name, definition] : columns) {
    const char* const comma = names.empty() ? "" : ",";
    names.append(comma).append(name);
    parameters.append(comma).append("$").append(std::to_string(++count));
  }
  Query rows = from.Prepare("SELECT " + names + " FROM " + table + (columns.contains("id") ? " ORDER BY id" : ""));
  const std::string insert = "INSERT INTO " + table + " (" + names + ") VALUES (" + parameters + ")";
  while (rows.Next()) {
    Query written = to.Prepare(insert);
    int column = 0;
    for (const auto& [name, definition] : columns) Bind(written, rows.Row(), column++, definition);
    written.Run();
  }
}

bool HoldsRows(Session& session, const std::string& table) {
  return session.Prepare("SELECT 1 FROM " + table + " LIMIT 1").Next();
}

}  // namespace

void CopyDatabase(const Source& from, const Source& to) {
  { const Opened brought_to_the_last_version(from); }
  { const Opened brought_to_the_last_version(to); }
  const std::unique_ptr<Session> source = ConnectTo(from);
  const std::unique_ptr<Session> target = ConnectTo(to);
  const TableColumns columns = source->connection().ReadColumns();
  source->connection().BeginReading();
  Transaction whole(*target, {}, to.driver.busy_timeout);
  for (const schema::Kind& kind : schema::Kinds()) {
    const std::string& table = kind.table->name();
    if (HoldsRows(*target, table)) {
      throw Error(Error::Kind::Unusable, target->connection().Name() + " holds rows already");
    }
    CopyRows(*source, *target, table, columns.at(table));
    target->connection().SetLastId(table, source->connection().LastId(table));
  }
  whole.Commit();
  source->connection().Rollback();
}

}  // namespace qv::db
