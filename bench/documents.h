/// The documents that are measured: cameras with some forty keys and three stream profiles each.
#pragma once

#include <json/value.h>

#include <string>

namespace bench {

/// A camera's entry of a configuration snapshot. @param revision  another one gives other values to four of its keys,
/// one of them inside a stream profile
Json::Value CameraEntry(int id, int revision);

/// A configuration snapshot as it comes from a slave.
struct Document {
  std::string text;
  Json::Value value;  ///< read from the text

  const Json::Value& cameras() const { return value["camera_info"]; }
};

/// A snapshot of cameras 1 to `count`. @param changed_every  every n-th camera has the revision, the others 0
Document Snapshot(int count, int revision, int changed_every = 1);

/// A status report of cameras 1 to `count` of slave `zr`. @param changed_every  every n-th camera has the revision
Document StatusReport(int count, int revision, int changed_every = 1);

}  // namespace bench
