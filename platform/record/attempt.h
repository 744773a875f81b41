/// The edge between the platform, which throws, and the package's interfaces, which return an int.
#pragma once

#include <string_view>

#include "../db/driver.h"

namespace qv::record {

/// Writes the one log line of a failed operation: what failed, for which record, and why.
void LogFailure(std::string_view operation, std::string_view kind, int id, const db::Error& error);

/// Runs `work`. @return 0, or -1 after one log line when a database call failed. Other exceptions pass.
template <class Work>
int Attempt(std::string_view operation, std::string_view kind, int id, Work&& work) {
  try {
    work();
    return 0;
  } catch (const db::Error& error) {
    LogFailure(operation, kind, id, error);
    return -1;
  }
}

}  // namespace qv::record
