#include "session.h"

#include <stdexcept>

#include "sqlite/sqlitedriver.h"

namespace qv::db {
namespace {

/// Texts kept prepared per connection before those that are not in use are given up.
constexpr std::size_t kMaxPreparedTexts = 512;

/// How long a closing connection waits for the lock that allows it to tidy up. Whoever holds the lock longer has the
/// database open and tidies up later.
constexpr std::chrono::milliseconds kCloseWait{100};

}  // namespace

WriterHold::WriterHold(Session::State& state, std::chrono::milliseconds limit) : state_(state) {
  if (state.writer_holds == 0 && !state.folder->writer_lock.Acquire(limit)) {
    throw Error(Error::Kind::Busy, "another process or thread has been writing to " + state.folder->path.string() +
                                       " for more than " + std::to_string(limit.count()) + " ms");
  }
  ++state_.writer_holds;
}

WriterHold::~WriterHold() {
  if (--state_.writer_holds == 0) state_.folder->writer_lock.Release();
}

std::unique_ptr<Session> Connect(std::shared_ptr<Folder> folder) {
  const Options& options = folder->options;
  auto state = std::make_unique<Session::State>();
  state->connection =
      options.factory ? options.factory(folder->path, options.driver) : OpenSqlite(folder->path, options.driver);
  state->folder = std::move(folder);
  return std::make_unique<Session>(std::move(state));
}

std::unique_ptr<Statement> PrepareNext(Session& session, const char*& text) {
  Session::State& state = session.state();
  state.CheckNotLost();
  ++state.statistics.prepared;
  return state.connection->Prepare(text, false, &text);
}

Session::Session(std::unique_ptr<State> state) : state_(std::move(state)) {}

Session::~Session() {
  State& state = *state_;
  bool locked_here = false;
  if (state.writer_holds == 0 && state.folder->is_accepted) {
    try {
      locked_here = state.folder->writer_lock.Acquire(kCloseWait);
    } catch (const Error&) {
      // without the lock the connection closes without tidying up
    }
  }
  state.connection->PrepareToClose(locked_here || state.writer_holds > 0);
  state.statements.clear();
  state.connection.reset();
  if (locked_here) state.folder->writer_lock.Release();
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
  }
  StatementPool& pool = found->second;
  std::unique_ptr<Statement> statement;
  if (pool.idle.empty()) {
    statement = state.connection->Prepare(found->first.c_str(), true, nullptr);
    if (!statement) throw Error(Error::Kind::Statement, "a text without a statement was to be prepared");
    ++state.statistics.prepared;
    pool.idle.reserve(pool.in_use + 1);
  } else {
    statement = std::move(pool.idle.back());
    pool.idle.pop_back();
  }
  return Query(*this, pool, std::move(statement));
}

void Session::Execute(std::string_view script) {
  const std::string text(script);
  const char* rest = text.c_str();
  AllOrNothing step(*this);
  while (const std::unique_ptr<Statement> statement = PrepareNext(*this, rest)) {
    ++state_->statistics.executed;
    while (statement->Step()) {
    }
  }
  step.Keep();
}

Connection& Session::connection() { return *state_->connection; }

const Session::Statistics& Session::statistics() const { return state_->statistics; }

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
  statement_->BindText(++parameter_, text);
  return *this;
}

Query& Query::BindNull() {
  statement_->BindNull(++parameter_);
  return *this;
}

bool Query::Next() {
  Session::State& state = session_->state();
  state.CheckNotLost();
  if (progress_ == Progress::Finished) return false;
  if (progress_ == Progress::Ready) {
    if (state.writer_holds == 0 && !statement_->IsReadOnly()) {
      throw std::logic_error("a statement that writes was stepped through without the writer lock");
    }
    ++state.statistics.executed;
  }
  progress_ = Progress::Finished;  // also when the step fails
  if (statement_->Step()) progress_ = Progress::Rows;
  return progress_ == Progress::Rows;
}

std::int64_t Query::Run() { return RunToEnd(false); }

std::int64_t Query::RunForId() { return RunToEnd(true); }

std::int64_t Query::RunToEnd(bool wants_id) {
  Session::State& state = session_->state();
  state.CheckNotLost();
  const WriterHold hold(state);
  ++state.statistics.executed;
  parameter_ = 0;
  std::int64_t id = 0;
  bool has_row = statement_->Step();
  if (wants_id && !has_row) throw Error(Error::Kind::Statement, "a statement returned no id");
  if (wants_id) id = statement_->Int(0);
  while (has_row) has_row = statement_->Step();
  const std::int64_t changes = state.connection->Changes();
  statement_->Reset();
  if (!state.in_transaction) state.connection->Checkpoint();
  return wants_id ? id : changes;
}

}  // namespace qv::db
