#include "postgresqlfloor.h"

#include <deque>
#include <stdexcept>

#include "columns.h"
#include "qvjson.h"

namespace bench {
namespace {

std::string TextOf(const Column& column, const Json::Value& value) {
  if (column.is_json) return JsonWrite(value, true);
  if (column.is_text) return value.asString();
  return std::to_string(value.isBool() ? static_cast<int>(value.asBool()) : value.asInt());
}

std::string Parameters(std::size_t count) {
  std::string text = "$1";
  for (std::size_t i = 2; i <= count; ++i) text += ",$" + std::to_string(i);
  return text;
}

}  // namespace

PostgresqlFloor::PostgresqlFloor(const std::string& database) : connection_(PQconnectdb(database.c_str())) {
  const std::string names = ColumnNames(ReportedCameraColumns());
  const std::size_t count = ReportedCameraColumns().size();
  const std::string last = std::to_string(count + 1);
  const std::pair<const char*, std::string> statements[] = {
      {"read", "SELECT id,id_on_rec_server," + names + " FROM camera WHERE owner_zr_id=$1 ORDER BY id"},
      {"update", "UPDATE camera SET (" + names + ")=ROW(" + Parameters(count) + ") WHERE id=$" + last},
      {"insert", "INSERT INTO camera (" + names + ",id,owner_zr_id) VALUES (" + Parameters(count + 2) + ")"},
      {"message", "INSERT INTO message (id,zr_id,target,command,payload) VALUES (take_ids('message',1),$1,$2,$3,$4)"}};
  for (const auto& [name, sql] : statements) {
    const Result result(PQprepare(connection_.get(), name, sql.c_str(), 0, nullptr));
    if (PQresultStatus(result.get()) != PGRES_COMMAND_OK) throw std::runtime_error(PQerrorMessage(connection_.get()));
  }
}

std::string PostgresqlFloor::Execute(const std::string& sql) { return FirstField(connection_.get(), sql); }

std::string PostgresqlFloor::Query(const std::string& database, const std::string& sql) {
  const std::unique_ptr<PGconn, Finish> connection(PQconnectdb(database.c_str()));
  return FirstField(connection.get(), "SET client_min_messages = error; " + sql);
}

std::string PostgresqlFloor::FirstField(PGconn* connection, const std::string& sql) {
  const Result result(PQexec(connection, sql.c_str()));
  const ExecStatusType status = PQresultStatus(result.get());
  if (status == PGRES_COMMAND_OK) return "";
  if (status != PGRES_TUPLES_OK) throw std::runtime_error(PQerrorMessage(connection));
  return PQntuples(result.get()) == 0 ? "" : PQgetvalue(result.get(), 0, 0);
}

PostgresqlFloor::Result PostgresqlFloor::TakeOne() {
  Result result(PQgetResult(connection_.get()));
  const ExecStatusType status = PQresultStatus(result.get());
  if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
    throw std::runtime_error(PQresultErrorMessage(result.get()));
  }
  const Result end(PQgetResult(connection_.get()));
  return result;
}

void PostgresqlFloor::TakeSync() { const Result sync(PQgetResult(connection_.get())); }

int PostgresqlFloor::Apply(const Json::Value& cameras, int zr, const Json::Value& messages) {
  PGconn* const connection = connection_.get();
  const std::string owner = std::to_string(zr);
  const char* const values[] = {owner.c_str()};
  PQenterPipelineMode(connection);
  PQsendQueryParams(connection, "BEGIN", 0, nullptr, nullptr, nullptr, nullptr, 0);
  PQsendQueryPrepared(connection, "read", 1, values, nullptr, nullptr, 0);
  PQpipelineSync(connection);
  TakeOne();
  const Result rows = TakeOne();
  TakeSync();

  std::unordered_map<int, int> known;
  for (int row = 0; row < PQntuples(rows.get()); ++row) known.emplace(std::atoi(PQgetvalue(rows.get(), row, 1)), row);
  std::vector<Write> writes;
  std::int64_t new_rows = 0;
  for (const Json::Value& given : cameras) {
    const Json::Value entry = given;  // NOLINT(performance-unnecessary-copy-initialization): the interface's copy
    const auto found = known.find(entry["id"].asInt());
    if (found == known.end()) {
      writes.push_back({-1, &given});
      ++new_rows;
    } else if (!Equals(rows.get(), found->second, entry)) {
      writes.push_back({found->second, &given});
    }
  }
  std::int64_t id = 0;
  if (new_rows > 0) {
    PQsendQueryParams(connection, ("SELECT take_ids('camera'," + std::to_string(new_rows) + ")").c_str(), 0, nullptr,
                      nullptr, nullptr, nullptr, 0);
    PQpipelineSync(connection);
    id = std::atoll(PQgetvalue(TakeOne().get(), 0, 0));
    TakeSync();
  }
  for (const Write& write : writes) {
    if (write.row < 0) {
      Send("insert", *write.entry, std::to_string(id++), owner);
    } else {
      Send("update", *write.entry, PQgetvalue(rows.get(), write.row, 0), "");
    }
  }
  for (const Json::Value& message : messages) {
    const char* const fields[] = {message[0].asCString(), message[1].asCString(), message[2].asCString(),
                                  message[3].asCString()};
    PQsendQueryPrepared(connection, "message", 4, fields, nullptr, nullptr, 0);
  }
  PQsendQueryParams(connection, "COMMIT", 0, nullptr, nullptr, nullptr, nullptr, 0);
  PQpipelineSync(connection);
  for (std::size_t i = 0; i <= writes.size() + messages.size(); ++i) TakeOne();
  TakeSync();
  PQexitPipelineMode(connection);
  return static_cast<int>(writes.size());
}

bool PostgresqlFloor::Equals(const PGresult* rows, int row, const Json::Value& entry) const {
  int index = 2;
  auto member = entry.begin();
  for (const Column& column : ReportedCameraColumns()) {
    if (TextOf(column, *member++) != PQgetvalue(rows, row, index++)) return false;
  }
  return true;
}

/// @param zr  empty: the row is there
void PostgresqlFloor::Send(const char* statement, const Json::Value& entry, const std::string& last,
                           const std::string& zr) {
  std::deque<std::string> texts;
  std::vector<const char*> values;
  auto member = entry.begin();
  for (const Column& column : ReportedCameraColumns()) {
    values.push_back(texts.emplace_back(TextOf(column, *member++)).c_str());
  }
  values.push_back(last.c_str());
  if (!zr.empty()) values.push_back(zr.c_str());
  PQsendQueryPrepared(connection_.get(), statement, static_cast<int>(values.size()), values.data(), nullptr, nullptr,
                      0);
}

}  // namespace bench
