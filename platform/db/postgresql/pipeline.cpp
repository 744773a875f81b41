#include "db/postgresql/pipeline.h"

#include <utility>

#include "db/statementtext.h"

namespace qv::db {
namespace {

/// libpq ends its messages with a line feed, and puts hints on further lines.
std::string FirstLine(const char* message) {
  const std::string text = message == nullptr ? "" : message;
  return text.substr(0, text.find('\n'));
}

/// The server's sentence, unless it may quote a value (a row's, or one in the text of the statement).
std::string Reason(const PGresult* result, const std::string& state) {
  if (state.starts_with("22")) return "a value does not fit (" + state + ")";
  if (state == "42601") return "syntax error";
  return FirstLine(PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY));
}

void Ignore(void* /*context*/, const PGresult* /*notice*/) {}

/// Null for a text that is no connection URI: libpq would quote parts of it.
PGconn* Connect(const std::string& url) {
  if (PQconninfoOption* const options = PQconninfoParse(url.c_str(), nullptr)) {
    PQconninfoFree(options);
  } else {
    throw Error(Error::Kind::Unusable, "it is not named by a PostgreSQL connection URI");
  }
  const char* const names[] = {"dbname", "fallback_application_name", "client_encoding", nullptr};
  const char* const values[] = {url.c_str(), "qvcms", "UTF8", nullptr};
  return PQconnectdbParams(names, values, 1);
}

}  // namespace

Pipeline::Pipeline(const std::string& url, std::string settings)
    : connection_(Connect(url)), settings_(std::move(settings)) {
  if (IsLost()) throw Error(Error::Kind::Unusable, FirstLine(PQerrorMessage(get())));
  Begin();
}

bool Pipeline::Reconnect() {
  sent_.clear();
  PQreset(get());
  if (IsLost()) return false;
  Begin();
  return true;
}

void Pipeline::Begin() {
  PQsetNoticeReceiver(get(), Ignore, nullptr);
  PQenterPipelineMode(get());
  ++generation_;
  std::string_view rest = settings_;
  for (std::string_view setting; !(setting = TakeStatement(rest)).empty();) Run(std::string(setting));
}

// A statement that cannot be sent, since the connection is lost, is found without a result by `Flush`.

void Pipeline::Prepare(const std::string& name, const Sql& sql, const std::shared_ptr<int>& prepared_on) {
  PQsendPrepare(get(), name.c_str(), sql->c_str(), 0, nullptr);
  *prepared_on = generation_;
  sent_.push_back({sql, nullptr, prepared_on});
}

void Pipeline::RunPrepared(const std::string& name, const Sql& sql, const Parameters& parameters, Take take) {
  PQsendQueryPrepared(get(), name.c_str(), static_cast<int>(parameters.values.size()), parameters.values.data(),
                      parameters.lengths.data(), parameters.formats.data(), 0);
  sent_.push_back({sql, std::move(take), nullptr});
}

void Pipeline::Run(const std::string& sql, Take take) {
  PQsendQueryParams(get(), sql.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0);
  sent_.push_back({std::make_shared<const std::string>(sql), std::move(take), nullptr});
}

std::optional<Failure> Pipeline::Flush() {
  if (sent_.empty()) return std::nullopt;
  ++round_trips_;
  PQpipelineSync(get());
  std::optional<Failure> failure;
  for (const Sent& sent : std::exchange(sent_, {})) {
    bool has_result = false;
    while (Result result{PQgetResult(get())}) {
      has_result = true;
      const ExecStatusType status = PQresultStatus(result.get());
      if (status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK) {
        if (sent.take) sent.take(std::move(result));
        continue;
      }
      if (sent.prepared_on) *sent.prepared_on = 0;
      if (!failure) failure = Describe(result.get(), *sent.sql);
    }
    if (!has_result && !failure) failure = LostConnection(*sent.sql);
    if (IsLost()) return failure ? failure : LostConnection(*sent.sql);
  }
  const Result synchronised(PQgetResult(get()));
  if (IsLost() && !failure) return LostConnection("");
  return failure;
}

Failure Pipeline::Describe(const PGresult* result, const std::string& sql) const {
  const char* state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
  constexpr std::string_view kShutDown = "57P0";
  if (state == nullptr || IsLost() || std::string_view(state).starts_with(kShutDown)) return LostConnection(sql);
  return {FirstWords(sql), state, Reason(result, state)};
}

Failure Pipeline::LostConnection(const std::string& sql) const {
  return {FirstWords(sql), "", "the connection to the database is lost: " + FirstLine(PQerrorMessage(get()))};
}

}  // namespace qv::db
