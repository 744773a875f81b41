/// The host that a command works on.
#pragma once

#include <qv/host.h>

#include "options.h"

namespace qvcms {

/// For commands that make the data folder when it is missing, and for the others.
qv::HostOptions HostToFill(const GlobalOptions& global);
qv::HostOptions HostToRead(const GlobalOptions& global);

/// Warns of a data folder that other users can enter.
class OpenHost : public qv::Host {
 public:
  explicit OpenHost(const qv::HostOptions& options);
};

}  // namespace qvcms
