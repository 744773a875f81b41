/// A simulated slave.
#pragma once

#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace qvload {

/// What slaves are like.
struct SlaveOptions {
  int cameras = 100;
  double changed = 0.05;  ///< part of the cameras that change their state with a report
  /// To look at: slaves differ in size, have devices of all kinds, few of which fail and come back after a while, and
  /// send a changed configuration now and then.
  bool is_lively = false;
};

/// The documents of one slave.
class Slave {
 public:
  Slave(int zr, const SlaveOptions& options);

  int zr() const { return zr_; }
  std::string_view model() const;
  std::string Snapshot() const;
  /// The next status report.
  std::string Report();
  /// Whether the configuration was changed, so that a snapshot is to be sent before the next report.
  bool ChangesConfiguration();

 private:
  struct Device {
    std::string configuration;  ///< members of its entry in snapshots, apart from the id
    std::string reported;       ///< the same in reports, apart from id and state
    int state;
  };
  /// A list of a document.
  struct Section {
    const char* name;
    std::vector<Device> devices;
  };

  void AddCameras(int count);
  void Add(const char* section, int count, std::string_view what, const std::string& members);
  void AddControllers(int count);
  void ChangeStates();
  int Below(int bound);

  const int zr_;
  const SlaveOptions options_;
  std::minstd_rand random_;
  std::vector<Section> sections_;
};

}  // namespace qvload
