/// Telling a configuration snapshot from a status report.
#pragma once

#include <json/value.h>

#include "qv/host.h"

namespace qv::host {

/// The kind of a document, as `Document::kind` describes it.
/// @param document  an object
DocumentKind KindOf(const Json::Value& document);

}  // namespace qv::host
