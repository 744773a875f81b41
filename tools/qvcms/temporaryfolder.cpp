#include "temporaryfolder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

#include "exitcodes.h"

namespace qvcms {

TemporaryFolder::TemporaryFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "qvcms-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw Failure(kFailed, "cannot make a temporary folder: " + std::string(std::strerror(errno)));
  }
  path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code left_behind;  // nothing depends on its removal
  std::filesystem::remove_all(path_, left_behind);
}

}  // namespace qvcms
