/// What the calls of the host have in common: errors become refusals, time is measured, a commit is counted.
#pragma once

#include <json/value.h>

#include <chrono>
#include <memory>
#include <string>

#include "db/database.h"
#include "qv/host.h"

namespace qv::host {

/// Turns an error of the database into the refusal that a caller sees.
Refusal RefusalOf(const db::Error& error);

/// Throws `Refusal` (BadArgument) unless `zr` can be the id of a server.
void CheckServerId(int zr);

/// Runs `call`, and turns what the database and JSON values throw into refusals.
template <class Call>
auto Guarded(Call&& call) {
  try {
    return call();
  } catch (const db::Error& error) {
    throw RefusalOf(error);
  } catch (const db::TakenBack& taken_back) {
    throw RefusalOf(taken_back.why());
  } catch (const Json::Exception&) {
    throw Refusal(RefusalCode::WrongType, "a value has the wrong type; no row was changed");
  }
}

/// The same for a call that writes. It is made once more, waiting for each write, when what it sent ahead was taken
/// back or when it was interrupted, by a lost connection or a conflict with another writer: nothing of it was applied
/// then, or what is applied again changes nothing.
template <class Call>
auto GuardedAgain(Call&& call) {
  return Guarded([&] {
    {
      db::FirstAttempt attempt;
      try {
        return call();
      } catch (const std::exception&) {  // a refusal may stem from what could not be read
        if (!db::MayBeDoneAgain()) throw;
      }
      attempt.DropLines();
    }
    return call();
  });
}

/// The time since its construction.
class Stopwatch {
 public:
  std::chrono::microseconds Elapsed() const {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start_);
  }

 private:
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/// Commits. `result` receives how many operations failed before the commit, and how many files could not be written
/// after it.
void Commit(db::UnitOfWork& work, ChangeResult& result);

/// A unit of work that a group commits: its files are made after that.
struct CommittedPart {
  std::shared_ptr<int> failures;
  int before;  ///< how many of them there were until then
};
/// Notes the part for the group of this thread, if there is one.
void NotePart(const db::UnitOfWork& work);

}  // namespace qv::host
