#include "db/session.h"

#include <stdexcept>

#include "db/postgresql/postgresqldriver.h"
#include "db/sqlite/sqlitedriver.h"
#include "json/storable.h"

namespace qv::db {
namespace {

/// Texts kept prepared per connection before those that are not in use are given up.
constexpr std::size_t kMaxPreparedTexts = 512;

}  // namespace

FolderTurn::FolderTurn(std::chrono::milliseconds limit) : folder_(ThisThread().state().folder) {
  if (!folder_->lock.Acquire(limit)) throw BusyError(folder_->path.string(), limit);
}

FolderTurn::~FolderTurn() { folder_->lock.Release(); }

std::unique_ptr<Session> Connect(std::shared_ptr<Folder> folder) {
  const Options& options = folder->options;
  auto state = std::make_unique<Session::State>();
  const Place place{folder->path, folder->lock};
  if (options.factory) {
    state->connection = options.factory(place, options.driver);
  } else if (options.driver.database.empty()) {
    state->connection = OpenSqlite(place, options.driver);
  } else {
    state->connection = OpenPostgresql(options.driver);
  }
  if (folder->is_accepted) state->connection->Accept();
  state->folder = std::move(folder);
  return std::make_unique<Session>(std::move(state));
}

Session::Session(std::unique_ptr<State> state) : state_(std::move(state)) {}

Session::~Session() {
  state_->statements.clear();
  state_->connection.reset();  // before the folder, whose lock it may use
}

Query Session::Prepare(std::string_view sql) {
  State& state = *state_;
  state.CheckNotLost();
  auto found = state.statements.find(sql);
  if (found == state.statements.end()) {
    if (state.statements.size() >= kMaxPreparedTexts) {
      std::erase_if(state.statements, [](const auto& entry) { return entry.second.in_use == 0; });
    }
    found = state.statements.try_emplace(std::string(sql)).first;
    found->second.sql = found->first;
  }
  StatementPool& pool = found->second;
  std::unique_ptr<Statement> statement;
  if (pool.idle.empty()) {
    statement = state.connection->Prepare(found->first);
    ++state.statistics.prepared;
    pool.idle.reserve(pool.in_use + 1);
  } else {
    statement = std::move(pool.idle.back());
    pool.idle.pop_back();
  }
  return Query(*this, pool, std::move(statement));
}

std::int64_t Session::Execute(const std::string& text, TextRows* rows) {
  AllOrNothing step(*this);
  const std::int64_t changed = RunText(*this, text, rows);
  step.Keep();
  return changed;
}

std::int64_t RunText(Session& session, const std::string& text, TextRows* rows) {
  Session::State& state = session.state();
  state.CheckNotLost();
  ++state.statistics.executed;
  state.ForgetForeseen(text);
  return state.connection->RunText(text, rows);
}

void Session::Foresee(const std::string& table, std::string question, Query query) {
  query.Send();
  state_->foreseen.push_back({table, std::move(question), std::move(query)});
}

bool Session::ForeseesAny() const { return !state_->foreseen.empty(); }

std::optional<Query> Session::TakeForeseen(const std::string& question) {
  const auto found = std::find_if(state_->foreseen.begin(), state_->foreseen.end(),
                                  [&](const auto& each) { return each.question == question; });
  if (found == state_->foreseen.end()) return std::nullopt;
  std::optional<Query> query(std::move(found->query));
  state_->foreseen.erase(found);
  return query;
}

Connection& Session::connection() { return *state_->connection; }

Session::Statistics Session::statistics() const {
  Statistics statistics = state_->statistics;
  statistics.round_trips = state_->connection->RoundTrips();
  return statistics;
}

Query::Query(Session& session, StatementPool& home, std::unique_ptr<Statement> statement)
    : session_(&session), home_(&home), statement_(std::move(statement)) {
  ++home_->in_use;
}

Query::~Query() {
  if (!statement_) return;
  statement_->Reset();
  --home_->in_use;
  home_->idle.push_back(std::move(statement_));
}

Query& Query::Bind(std::int64_t value) {
  statement_->BindInt(++parameter_, value);
  return *this;
}

Query& Query::Bind(double value) {
  statement_->BindReal(++parameter_, value);
  return *this;
}

Query& Query::Bind(std::string_view text) {
  if (const char* const reason = json::WhyNotStorableText(text)) {
    throw Error(Error::Kind::Statement, std::string("a text cannot be stored: ") + reason);
  }
  statement_->BindText(++parameter_, text);
  return *this;
}

Query& Query::BindNull() {
  statement_->BindNull(++parameter_);
  return *this;
}

Query& Query::Send() {
  session_->state().CheckNotLost();
  statement_->Send();
  return *this;
}

bool Query::Next() {
  Session::State& state = session_->state();
  state.CheckNotLost();
  if (progress_ == Progress::Finished) return false;
  if (progress_ == Progress::Ready) ++state.statistics.executed;
  progress_ = Progress::Finished;  // also when the call fails
  if (statement_->Next()) progress_ = Progress::Rows;
  return progress_ == Progress::Rows;
}

std::int64_t Query::Run() { return RunToEnd().rows; }

void Query::RunLater(TakeWritten take) {
  Session::State& state = session_->state();
  if (!state.in_transaction) {
    const Written written = RunToEnd();
    if (take) take(written);
    return;
  }
  state.CheckNotLost();
  parameter_ = 0;
  ++state.statistics.executed;
  state.ForgetForeseen(home_->sql);
  statement_->RunLater(std::move(take));
}

std::int64_t Query::RunForId() {
  const std::optional<std::int64_t> id = RunToEnd().id;
  if (!id) throw Error(Error::Kind::Statement, "a statement returned no id");
  return *id;
}

Written Query::RunToEnd() {
  Session::State& state = session_->state();
  state.CheckNotLost();
  parameter_ = 0;
  const auto run = [&] {
    ++state.statistics.executed;
    state.ForgetForeseen(home_->sql);
    return statement_->Run();
  };
  if (state.in_transaction) return run();
  AllOrNothing alone(*session_);
  const Written written = run();
  alone.Keep();
  return written;
}

}  // namespace qv::db
