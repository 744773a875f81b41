/// Telling a configuration snapshot from a status report.
#pragma once

#include <json/value.h>

#include "qv/host.h"

namespace qv::host {

/// What the document is, by what is in it:
/// - A section that only snapshots have, or a device with configuration (a name, an address), makes a snapshot.
/// - Otherwise a member about the server's state, or a device with nothing but its state, makes a report. The server's
///   state and counts make a report whatever the devices look like.
/// - Otherwise any section makes a snapshot, even an empty one: a server without devices.
/// @param document  an object
DocumentKind KindOf(const Json::Value& document);

}  // namespace qv::host
