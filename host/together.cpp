/// Several calls with one commit.

#include "guard.h"

namespace qv {
namespace {

/// What the group of this thread has committed so far; null without a group.
thread_local std::vector<host::CommittedPart>* parts = nullptr;

/// Has the parts of this thread's group noted while it exists.
struct Notes {
  explicit Notes(std::vector<host::CommittedPart>& taken) { parts = &taken; }
  ~Notes() { parts = nullptr; }
  Notes(const Notes&) = delete;
  Notes& operator=(const Notes&) = delete;
};

Host::Outcome OutcomeOf(const std::function<void()>& call) {
  try {
    call();
    return {};
  } catch (const Refusal& refusal) {
    return {.refusal = refusal};
  }
}

}  // namespace

namespace host {

void NotePart(const db::UnitOfWork& work) {
  if (parts != nullptr) parts->push_back({work.failure_count(), work.failures()});
}

}  // namespace host

std::vector<Host::Outcome> Host::Together(std::span<const std::function<void()>> calls) {
  std::vector<Outcome> outcomes;
  if (has_data_ && calls.size() > 1 && CommitTogether(calls, outcomes)) return outcomes;
  outcomes.clear();
  for (const auto& call : calls) outcomes.push_back(OutcomeOf(call));
  return outcomes;
}

/// @return false: nothing was applied
bool Host::CommitTogether(std::span<const std::function<void()>> calls, std::vector<Outcome>& outcomes) {
  std::vector<host::CommittedPart> committed;
  std::vector<std::pair<std::size_t, std::size_t>> of_call;  ///< where the parts of a call begin and end
  std::vector<std::size_t> left_out;                         ///< calls for servers that others were at work on
  try {
    db::Group group;
    const Notes notes(committed);
    for (const auto& call : calls) {
      const std::size_t begin = committed.size();
      outcomes.push_back(OutcomeOf(call));
      const std::optional<Refusal>& refusal = outcomes.back().refusal;
      if (refusal && refusal->code() == RefusalCode::Busy) left_out.push_back(of_call.size());
      of_call.emplace_back(begin, committed.size());
      if (group.IsLost()) break;
    }
    group.Commit();
  } catch (const db::Error& error) {
    // Each alone would wait as long again; and what may have been done is not done again.
    const bool is_final = error.kind() == db::Error::Kind::Busy || error.kind() == db::Error::Kind::InDoubt;
    if (!is_final) return false;
    outcomes.assign(calls.size(), Outcome{.refusal = host::RefusalOf(error)});
    return true;
  }
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    for (std::size_t part = of_call[i].first; part < of_call[i].second; ++part) {
      outcomes[i].failed_files += *committed[part].failures - committed[part].before;
    }
  }
  for (const std::size_t i : left_out) outcomes[i] = OutcomeOf(calls[i]);
  return true;
}

}  // namespace qv
