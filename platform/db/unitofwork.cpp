#include <algorithm>
#include <stdexcept>

#include "db/countobserver.h"
#include "db/transaction.h"

namespace qv::db {
namespace {

std::chrono::milliseconds BusyTimeout(Session& session) { return session.state().folder->options.driver.busy_timeout; }

}  // namespace

Group::Group() : session_(ThisThread()) {
  Session::State& state = session_.state();
  if (state.in_transaction) throw std::logic_error("a group inside another transaction");
  transaction_ = std::make_unique<Transaction>(session_, Scope{.kind = Scope::Kind::Group}, BusyTimeout(session_));
  state.group = this;
}

Group::~Group() { session_.state().group = nullptr; }

void Group::Commit() {
  session_.state().group = nullptr;
  transaction_->Commit();
}

void Group::TakeTurn(int zr) {
  const bool is_behind_another = zr == 0 ? !left_out_.empty() : left_out_.contains(zr) || left_out_.contains(0);
  if (!is_behind_another && session_.connection().TakeTurn(zr)) return;
  left_out_.insert(zr);
  throw BusyError(session_.connection().Name(), std::chrono::milliseconds(0));
}

bool Group::IsLost() const { return transaction_->is_open() && !session_.state().connection->InTransaction(); }

UnitOfWork::UnitOfWork(int zr, Durability durability) : session_(ThisThread()), zr_(zr) {
  Session::State& state = session_.state();
  if (state.group != nullptr && state.unit == nullptr) {
    state.group->TakeTurn(zr);
    part_ = std::make_unique<AllOrNothing>(session_);
    FirstAttempt::Begin(*state.connection);
  } else {
    if (state.in_transaction) throw std::logic_error("a unit of work inside another transaction");
    FirstAttempt::Begin(*state.connection);
    const Scope scope{zr == 0 ? Scope::Kind::WholeHost : Scope::Kind::OneServer, zr, durability};
    transaction_ = std::make_unique<Transaction>(session_, scope, BusyTimeout(session_));
  }
  state.unit = this;
}

UnitOfWork::~UnitOfWork() {
  session_.state().foreseen.clear();
  session_.connection().EndSendingAhead();
  if (session_.state().unit == this) session_.state().unit = nullptr;
}

void UnitOfWork::Commit() {
  if (session_.state().unit != this) throw std::logic_error("a unit of work committed twice");
  session_.state().foreseen.clear();
  if (part_) {
    session_.connection().Await();
    session_.connection().EndSendingAhead();
    part_->Keep();
  } else {
    transaction_->Commit();
  }
  session_.state().unit = nullptr;
}

void UnitOfWork::CheckNotLost() const {
  session_.connection().Await();
  session_.state().CheckNotLost();
}

const std::vector<UnitOfWork::Count>& UnitOfWork::counts() const {
  session_.connection().Await();
  return counts_;
}

std::uint64_t UnitOfWork::round_trips() const { return transaction_ ? transaction_->round_trips() : 0; }

UnitOfWork* UnitOfWork::Current() { return IsOpen() ? ThisThread().state().unit : nullptr; }

AllOrNothing::AllOrNothing(Wait wait) : AllOrNothing(ThisThread(), wait) {}

AllOrNothing::AllOrNothing(Session& session, Wait wait) : session_(session) {
  Session::State& state = session.state();
  if (!state.in_transaction) {
    transaction_ = std::make_unique<Transaction>(
        session, Scope{}, wait == Wait::None ? std::chrono::milliseconds(0) : BusyTimeout(session));
    return;
  }
  if (state.unit != nullptr) counts_before_ = state.unit->counts_;
  actions_before_ = state.on_commit.size();
  state.CheckNotLost();
  state.connection->SetSavepoint();
}

AllOrNothing::~AllOrNothing() {
  if (!kept_ && !transaction_) GoBack();
}

void AllOrNothing::Keep() {
  if (kept_) throw std::logic_error("a step kept twice");
  if (transaction_) {
    transaction_->Commit();
  } else {
    session_.state().CheckNotLost();
    session_.connection().ReleaseSavepoint();
  }
  kept_ = true;
}

void AllOrNothing::GoBack() noexcept {
  Session::State& state = session_.state();
  if (state.unit != nullptr) state.unit->counts_ = std::move(counts_before_);
  state.on_commit.resize(std::min(actions_before_, state.on_commit.size()));
  if (!state.in_transaction || !state.connection->InTransaction()) return;
  try {
    state.connection->ReturnToSavepoint();
    state.connection->ReleaseSavepoint();
  } catch (const std::exception&) {
    // Half of a step must not be committed with the rest: whoever goes on finds the transaction lost.
    state.connection->Rollback();
  }
}

Snapshot::Snapshot() : session_(ThisThread()) {
  if (session_.connection().InTransaction()) return;
  session_.connection().BeginReading();
  is_open_ = true;
}

Snapshot::~Snapshot() {
  if (is_open_) session_.connection().Rollback();
}

bool MayBeDoneAgain() {
  if (!IsOpen()) return false;
  const Session::State& state = ThisThread().state();
  return state.connection->WasTakenBack() || (state.group == nullptr && state.connection->WasInterrupted());
}

void OnCommit(std::function<void()> action) {
  Session::State& state = ThisThread().state();
  if (state.in_transaction) {
    state.on_commit.push_back(std::move(action));
  } else {
    action();
  }
}

void RingOnCommit() { ThisThread().connection().RingOnCommit(); }

void CountChange(std::string_view kind, Change change, std::int64_t rows) {
  UnitOfWork* unit = UnitOfWork::Current();
  if (unit == nullptr || rows == 0) return;
  std::vector<UnitOfWork::Count>& counts = unit->counts_;
  auto count = std::find_if(counts.begin(), counts.end(), [&](const auto& known) { return known.kind == kind; });
  if (count == counts.end()) count = counts.insert(count, UnitOfWork::Count{.kind = std::string(kind)});
  int& total = change == Change::Added ? count->added : change == Change::Updated ? count->updated : count->removed;
  total += static_cast<int>(rows);
  CountObserver::Tell(*count);
}

void CountFailure() noexcept {
  try {
    if (UnitOfWork* unit = UnitOfWork::Current()) ++*unit->failures_;
  } catch (const Error&) {
    // This thread cannot connect, so it has no unit of work.
  }
}

}  // namespace qv::db
