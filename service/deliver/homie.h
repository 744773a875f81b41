/// The fleet as devices of the Homie convention for MQTT, version 5.0: topics and what is in them. docs/delivery.md
/// shows them. The host is the root device, and each slave one of its children.
#pragma once

#include <qv/host.h>

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace qvcmsd {

class HomieTopics {
 public:
  /// @param place  "DOMAIN", "DOMAIN/DEVICE" or empty. Throws `std::invalid_argument`.
  explicit HomieTopics(const std::string& place);

  const std::string& device() const { return device_; }  ///< of the host
  /// A topic of the host, or of a slave: "$state", "camera/total".
  std::string OfHost(std::string_view topic) const;
  std::string OfSlave(int zr, std::string_view topic) const;

  /// The topics of a slave's counts: for each kind of devices, "camera/total" and "camera/not-well".
  static const std::vector<std::string>& CountTopics();
  /// What is in them, in the same order.
  static std::vector<std::int64_t> CountsOf(const qv::ServerCounts& counts);

  std::string DescribeHost(const std::set<int>& slaves) const;
  std::string DescribeSlave(int zr) const;
  /// The slaves in a description of the host; none if it is no such thing.
  std::set<int> SlavesIn(const std::string& description) const;

 private:
  std::string DeviceOf(int zr) const { return device_ + '-' + std::to_string(zr); }

  std::string root_;
  std::string device_;
};

}  // namespace qvcmsd
