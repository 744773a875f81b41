/// Entries of a document that the host cannot use: it takes the rest.
#pragma once

#include <json/value.h>

#include <vector>

#include "sections.h"

namespace qv::host {

/// The entries of slave `zr`'s document that were left out when it was applied, in the order of the document's
/// sections, each with the reason. Call it after the document has been applied, in the same unit of work.
/// Throws `qv::db::Error`.
std::vector<Fault> FindUnusedEntries(const Json::Value& document, int zr);

}  // namespace qv::host
