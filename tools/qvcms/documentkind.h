/// Telling a configuration snapshot from a status report.
#pragma once

#include <json/value.h>

namespace qvcms {

enum class DocumentKind {
  Snapshot,      ///< configuration: what it does not list is gone
  StatusReport,  ///< state of the server and of devices that the host has already
  Neither,       ///< nothing that either of them has, such as {"error":"unauthorized"}
};

/// What the document is, by what is in it:
/// - A section that only snapshots have, or a device with configuration (a name, an address), makes a snapshot.
/// - Otherwise a member about the server's state, or a device with nothing but its state, makes a report. The server's
///   state and counts make a report whatever the devices look like.
/// - Otherwise any section makes a snapshot, even an empty one: a server without devices.
/// @param document  an object
DocumentKind KindOf(const Json::Value& document);

/// Whether any section of a snapshot is there, in a report too.
bool HasSections(const Json::Value& document);

}  // namespace qvcms
