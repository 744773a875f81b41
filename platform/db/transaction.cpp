#include "transaction.h"

#include <exception>
#include <utility>

#include "../log/message.h"

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

Transaction::Transaction(Session& session, std::chrono::milliseconds limit)
    : session_(session), hold_(session.state(), limit) {
  Session::State& state = session.state();
  state.connection->Begin();
  state.in_transaction = true;
  open_ = true;
}

Transaction::~Transaction() {
  if (!open_) return;
  Session::State& state = session_.state();
  state.connection->Rollback();
  state.in_transaction = false;
  state.on_commit.clear();
}

void Transaction::Commit() {
  Session::State& state = session_.state();
  state.CheckNotLost();
  state.connection->Commit();
  open_ = false;
  state.in_transaction = false;
  for (const auto& action : std::exchange(state.on_commit, {})) RunQuietly(action);
  state.folder->FollowUp();
  state.connection->Checkpoint();
}

}  // namespace qv::db
