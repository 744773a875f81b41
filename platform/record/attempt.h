/// The edge between the platform, which throws, and the package's interfaces, which return an int.
#pragma once

#include <string>
#include <string_view>
#include <type_traits>

#include "db/driver.h"
#include "log/message.h"

namespace qv::record {

/// Logs `text`, a colon and `reason` as one line, and counts the failure in the unit of work.
void LogFailure(const log::Place& place, std::string text, std::string_view reason);

/// Logs a failed operation: what failed, for which record, and why.
template <class... Args>
void LogFailure(log::Text<std::type_identity_t<Args>...> failure, const db::Error& error, const Args&... args) {
  LogFailure(failure.place(), failure.With(args...), error.what());
}

/// Runs `work`. Returns 0, or -1 after logging `failure` if `work` throws `db::Error`. Other exceptions pass.
template <class Work>
int Attempt(log::Text<> failure, Work&& work) {
  try {
    work();
    return 0;
  } catch (const db::Error& error) {
    LogFailure(failure, error);
    return -1;
  }
}

/// The same for an operation on one record: `failure` has one "{}", for its id.
template <class Work>
int Attempt(log::Text<int> failure, int id, Work&& work) {
  try {
    work();
    return 0;
  } catch (const db::Error& error) {
    LogFailure(failure, error, id);
    return -1;
  }
}

}  // namespace qv::record
