#include "openhost.h"

#include "output.h"

namespace qvcms {

qv::HostOptions HostToFill(const GlobalOptions& global) {
  return {.data_folder = global.data_dir,
          .database = global.database,
          .durability = global.durability,
          .log = {.level = global.log_level,
                  .file = global.log_file,
                  .max_file_size = global.log_max_size,
                  .kept_files = global.log_files}};
}

qv::HostOptions HostToRead(const GlobalOptions& global) {
  qv::HostOptions options = HostToFill(global);
  options.make_if_missing = false;
  return options;
}

OpenHost::OpenHost(const qv::HostOptions& options) : Host(options) {
  if (!IsOpenToOthers()) return;
  Complain("warning: other users can enter the data folder " + options.data_folder.string() +
           ", which holds passwords: give it the mode 0700");
}

}  // namespace qvcms
