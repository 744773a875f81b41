/// The host that a command works on: its log and its data folder.
#pragma once

#include <string>

#include "options.h"

namespace qvcms {

/// The host's data, open from construction to destruction. One at a time.
class Host {
 public:
  /// Sets up the log and opens the data folder. Throws `qv::db::Error`.
  explicit Host(const GlobalOptions& options);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
};

/// The text of `error`, and what to do about it where that is known.
std::string WithRemedy(const qv::db::Error& error);

}  // namespace qvcms
