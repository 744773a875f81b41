/// Slaves that report over HTTP.
#pragma once

#include <string>

#include "slave.h"

namespace qvload {

struct FleetOptions {
  std::string url = "http://127.0.0.1:8480";
  std::string token;
  std::string ca;
  int slaves = 100;
  int first = 1;
  SlaveOptions slave;
  double interval = 5;  ///< seconds; 0: the next report follows the answer
  double seconds = 10;
  int pid = 0;  ///< of the service; 0: not known
};

/// Pairs the slaves, has them report, and prints how long answers took. Throws `std::runtime_error` when the slaves
/// cannot be paired. @return whether all reports were accepted
bool RunFleet(const FleetOptions& fleet);

}  // namespace qvload
