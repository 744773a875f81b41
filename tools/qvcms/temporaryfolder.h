/// A folder for the length of a command.
#pragma once

#include <filesystem>

namespace qvcms {

/// A new, empty folder of the user's own, removed with everything in it: also when SIGINT, SIGTERM or SIGHUP ends the
/// program. Make it before any thread.
class TemporaryFolder {
 public:
  TemporaryFolder();  ///< Throws `Failure` when it cannot be made.
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace qvcms
