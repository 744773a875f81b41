/// What a call did, in the order it happened, as text lines:
///
///     insert pos 3                          a row was added, with its id
///     update pos 3                          a row was written
///     delete pos 3                          a row was deleted
///     message 7 qvactruled compound {...}   a message was left: server, target, command, payload
///     log 4 UpdatePOSData Update POS [3] on ZR [7].
///     log 1 UpdateIvaInfo:121 Failed to ... with its line, where that is part of the message's contract
///     log - RemoveSlaveData Fail to ...     a message that bypasses the gate
///     failed to delete POS terminal [3]     the platform's own line about a failed operation
///
/// The changes are noted by triggers, so it does not matter which statement made them. Changes that the database took
/// back (a failed statement, a savepoint, a transaction) leave no line.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace support {

using Lines = std::vector<std::string>;

/// Those of the lines that start so.
inline Lines Only(Lines lines, const std::string& start) {
  std::erase_if(lines, [&](const std::string& line) { return !line.starts_with(start); });
  return lines;
}

/// The lines that do not start so.
inline Lines Without(Lines lines, const std::string& start) {
  std::erase_if(lines, [&](const std::string& line) { return line.starts_with(start); });
  return lines;
}

/// Runs `call` and returns what it did. @param level  the log's threshold meanwhile
Lines Journal(const std::function<void()>& call, int level);

/// From now on triggers note each change that this thread makes in the open database.
void StartJournal();

}  // namespace support
