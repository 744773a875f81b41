/// The name under which the synced content of a file is kept: a number of the file system may be given to another file
/// later, the time of its making tells the two apart.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <string>

/// @param file an open file. Empty when it cannot be looked at.
inline std::string SyncedName(int file) {
  struct statx status {};
  if (statx(file, "", AT_EMPTY_PATH, STATX_INO | STATX_BTIME, &status) != 0) return "";
  return std::to_string(status.stx_ino) + "-" + std::to_string(status.stx_btime.tv_sec) + "." +
         std::to_string(status.stx_btime.tv_nsec);
}
