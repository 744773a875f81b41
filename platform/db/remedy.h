/// What a user can do about an error of the system.
#pragma once

#include <cerrno>
#include <string>

namespace qv::db {

/// To be put behind the text of an error: "; " and an advice, or nothing where none is known.
inline std::string RemedyFor(int error_number) {
  switch (error_number) {
    case EMFILE:
      return "; allow this process more open files (ulimit -n)";
    case ENFILE:
      return "; the system has too many open files";
    case ENOSPC:
    case EDQUOT:
      return "; free space on the disk";
    case EACCES:
    case EPERM:
    case EROFS:
      return "; the data folder and the database must be writable for this user";
    default:
      return "";
  }
}

}  // namespace qv::db
