/// Wakes those who wait for rows of a data folder's database, in any process of this machine. The bell is a file,
/// `outbox.bell`, whose times change; while there is none, nobody listens and ringing costs a system call.
#pragma once

#include <filesystem>

#include "files/descriptor.h"

namespace qv::db {

/// Belongs to one thread.
class Bell {
 public:
  /// Listens from now on. Makes the file (mode 0600) if it is missing. Throws `Error` (Unusable).
  explicit Bell(const std::filesystem::path& folder);

  /// Becomes readable when the bell rings.
  int descriptor() const { return events_.get(); }
  /// Takes note of all that rang so far. @return whether there was any
  bool Clear();

  static void Ring(const std::filesystem::path& folder) noexcept;

 private:
  void Listen();

  const std::filesystem::path path_;
  files::FileDescriptor events_;
};

}  // namespace qv::db
