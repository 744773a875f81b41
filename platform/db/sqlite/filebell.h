/// The bell of a database in a data folder: a file, `outbox.bell`, whose times change. Any process of this machine may
/// ring it. While there is no file, nobody listens and ringing costs a system call.
#pragma once

#include "db/driver.h"
#include "files/descriptor.h"

namespace qv::db {

class FileBell final : public Bell {
 public:
  /// Listens from now on. Makes the file (mode 0600) if it is missing. Throws `Error` (Unusable).
  explicit FileBell(const std::filesystem::path& folder);

  int descriptor() override { return events_.get(); }
  void Clear() override;

  static void Ring(const std::filesystem::path& folder) noexcept;

 private:
  void Listen();

  const std::filesystem::path path_;
  files::FileDescriptor events_;
};

}  // namespace qv::db
