/// From the tree of the fast parser to the values that the package works with.
#pragma once

#include <json/value.h>
#include <simdjson.h>

#include <optional>

#include "json/document.h"

namespace qv::json {

/// @return the value of `root`; none if it is nested deeper than `limits` allow, has more values, or has an object
///         with two members of one name
std::optional<Json::Value> Convert(const simdjson::dom::element& root, const ReadLimits& limits);

}  // namespace qv::json
