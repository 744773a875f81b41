#include "db/transaction.h"

#include <exception>
#include <utility>

#include "log/message.h"

namespace qv::db {
namespace {

/// The commit stands, whatever becomes of what follows it.
void RunQuietly(const std::function<void()>& action) noexcept {
  try {
    action();
  } catch (const std::exception& error) {
    log::Error("Failed to run an action after a commit: {}", error.what());
  }
}

}  // namespace

Transaction::Transaction(Session& session, const Scope& scope, std::chrono::milliseconds limit)
    : session_(session), round_trips_before_(session.connection().RoundTrips()) {
  Session::State& state = session.state();
  state.connection->Begin(scope, limit);
  state.in_transaction = true;
  open_ = true;
}

Transaction::~Transaction() {
  Session::State& state = session_.state();
  if (open_) {
    state.connection->Rollback();
    state.in_transaction = false;
    state.on_commit.clear();
  }
  state.connection->EndTurn();
}

void Transaction::Commit() {
  Session::State& state = session_.state();
  state.CheckNotLost();
  state.connection->Commit();
  round_trips_ = state.connection->RoundTrips() - round_trips_before_;
  open_ = false;
  state.in_transaction = false;
  FollowCommit();
}

void Transaction::FollowCommit() {
  Session::State& state = session_.state();
  const auto actions = std::exchange(state.on_commit, {});
  if (!actions.empty()) {
    RunQuietly([&] {
      const FolderTurn turn(state.folder->options.driver.busy_timeout);
      for (const auto& action : actions) RunQuietly(action);
    });
  }
  if (state.folder->IsBehind()) state.folder->FollowUp();
}

}  // namespace qv::db
