#include "testdatabase.h"

#include <libpq-fe.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>

namespace support {
namespace {

const char* Server() { return std::getenv("QVCMS_TEST_DATABASE"); }

std::string NormalName(const std::filesystem::path& folder) {
  return std::filesystem::absolute(folder).lexically_normal().string();
}

/// The schemas of data folders, and those that are ready for another one.
struct Schemas {
  std::map<std::string, std::string> of_folder;
  std::set<std::string> ready_when_returned;
  std::vector<std::string> ready;
  int made = 0;
};

Schemas& TheSchemas() {
  static Schemas schemas;
  return schemas;
}

std::string InSchema(const std::string& schema) { return std::string(Server()) + "&options=-csearch_path%3D" + schema; }

std::string Make() {
  const std::string schema = "t" + std::to_string(getpid()) + "_" + std::to_string(++TheSchemas().made);
  QueryPostgresql(Server(), "CREATE SCHEMA " + schema);
  return schema;
}

/// Takes back the faults that tests plant, and deletes every row: the schema is as good as new. A test that makes other
/// tables drops them.
constexpr const char* kEmpty = R"sql(DO $$
  DECLARE
    each RECORD;
  BEGIN
    FOR each IN SELECT tgname FROM pg_trigger JOIN pg_class ON pg_class.oid = tgrelid
                 WHERE relnamespace = current_schema()::regnamespace AND tgname LIKE 'refuse%' LOOP
      EXECUTE 'DROP FUNCTION ' || each.tgname || '() CASCADE';
    END LOOP;
    FOR each IN SELECT tablename FROM pg_tables WHERE schemaname = current_schema() AND tablename LIKE '%\_away' LOOP
      EXECUTE 'ALTER TABLE ' || each.tablename || ' RENAME TO ' || replace(each.tablename, '_away', '');
    END LOOP;
    FOR each IN SELECT tablename FROM pg_tables WHERE schemaname = current_schema() AND
                 tablename NOT IN ('schema_version', 'capability_revision') ORDER BY tablename = 'journal' LOOP
      EXECUTE 'DELETE FROM ' || each.tablename;
    END LOOP;
    PERFORM setval(sequencename::regclass, 1, false) FROM pg_sequences
      WHERE schemaname = current_schema();
  END$$)sql";

}  // namespace

bool OnPostgresql() { return Server() != nullptr; }

std::string DatabaseOf(const std::filesystem::path& folder) {
  if (!OnPostgresql()) return "";
  std::string& schema = TheSchemas().of_folder[NormalName(folder)];
  if (schema.empty()) schema = Make();
  return InSchema(schema);
}

std::string DatabaseVariable(const std::filesystem::path& folder) {
  return OnPostgresql() ? "export QVCMS_DATABASE='" + DatabaseOf(folder) + "' && " : "";
}

void UseReadyDatabase(const std::filesystem::path& folder) {
  if (!OnPostgresql()) return;
  Schemas& schemas = TheSchemas();
  std::string schema;
  if (schemas.ready.empty()) {
    schema = Make();
  } else {
    schema = schemas.ready.back();
    schemas.ready.pop_back();
  }
  schemas.of_folder[NormalName(folder)] = schema;
  schemas.ready_when_returned.insert(schema);
}

void ReturnDatabasesBelow(const std::filesystem::path& folder) {
  if (!OnPostgresql()) return;
  Schemas& schemas = TheSchemas();
  std::erase_if(schemas.of_folder, [&](const auto& entry) {
    const auto& [name, schema] = entry;
    if (!name.starts_with(NormalName(folder))) return false;
    if (schemas.ready_when_returned.erase(schema) > 0) {
      QueryPostgresql(InSchema(schema), kEmpty);
      schemas.ready.push_back(schema);
    } else {
      QueryPostgresql(Server(), "DROP SCHEMA " + schema + " CASCADE");
    }
    return true;
  });
}

std::string RefusingTrigger(const std::string& name, const std::string& operation, const std::string& table,
                            const std::string& condition) {
  const std::string when = condition.empty() ? "" : " WHEN (" + condition + ")";
  const std::string start = "CREATE TRIGGER " + name + " BEFORE " + operation + " ON " + table;
  if (!OnPostgresql()) return start + when + " BEGIN SELECT RAISE(ABORT, 'refused'); END;";
  return "CREATE FUNCTION " + name + "() RETURNS trigger LANGUAGE plpgsql AS $$BEGIN RAISE 'refused'; END$$;" + start +
         " FOR EACH ROW" + when + " EXECUTE FUNCTION " + name + "()";
}

std::vector<std::string> QueryPostgresql(const std::string& database, const std::string& sql) {
  const std::unique_ptr<PGconn, decltype(&PQfinish)> connection(PQconnectdb(database.c_str()), PQfinish);
  const std::unique_ptr<PGresult, decltype(&PQclear)> result(
      PQexec(connection.get(), ("SET client_min_messages = error; " + sql).c_str()), PQclear);
  const ExecStatusType status = PQresultStatus(result.get());
  if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) {
    throw std::runtime_error(sql + ": " + PQerrorMessage(connection.get()));
  }
  std::vector<std::string> rows;
  for (int row = 0; row < PQntuples(result.get()); ++row) {
    std::string& line = rows.emplace_back();
    for (int column = 0; column < PQnfields(result.get()); ++column) {
      if (column > 0) line += '|';
      line += PQgetisnull(result.get(), row, column) != 0 ? "null" : PQgetvalue(result.get(), row, column);
    }
  }
  return rows;
}

}  // namespace support
