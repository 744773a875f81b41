/// Slaves that report over HTTP.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace qvload {

struct FleetOptions {
  std::string url = "http://127.0.0.1:8480";
  std::string token;
  std::string ca;
  int slaves = 100;
  int first = 1;
  int cameras = 100;
  double interval = 5;    ///< seconds; 0: the next report follows the answer
  double changed = 0.05;  ///< part of the cameras that change with a report
  double seconds = 10;
  int pid = 0;  ///< of the service; 0: not known
  bool is_lively = false;
};

/// The documents of one slave.
class Slave {
 public:
  Slave(int zr, const FleetOptions& fleet);

  int zr() const { return zr_; }
  std::string Snapshot() const;
  /// The next status report.
  std::string Report();

 private:
  int zr_;
  std::size_t changes_;  ///< cameras that change with a report
  std::vector<int> states_;
  std::minstd_rand random_;
};

/// Pairs the slaves, has them report, and prints how long answers took. Throws `std::runtime_error` when the slaves
/// cannot be paired. @return whether all reports were accepted
bool RunFleet(const FleetOptions& fleet);

}  // namespace qvload
