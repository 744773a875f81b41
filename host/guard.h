/// What every call of the host has around it.
#pragma once

#include <json/value.h>

#include <chrono>
#include <string>

#include "db/database.h"
#include "qv/host.h"

namespace qv::host {

/// Turns an error of the database into the refusal that a caller sees.
Refusal RefusalOf(const db::Error& error);

/// Throws `Refusal` (BadArgument) unless `zr` can be the id of a server.
void CheckServerId(int zr);

/// Runs `call`, lets nothing but refusals out of it, and measures how long it takes.
template <class Call>
auto Guarded(Call&& call) {
  try {
    return call();
  } catch (const db::Error& error) {
    throw RefusalOf(error);
  } catch (const Json::Exception&) {
    throw Refusal(RefusalCode::WrongType, "a value has the wrong type; no row was changed");
  }
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

/// Commits, and notes in `result` what failed before it and what, the files, while it was carried out.
void Commit(db::UnitOfWork& work, ChangeResult& result);

}  // namespace qv::host
