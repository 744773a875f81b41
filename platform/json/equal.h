/// Comparing values that are kept as JSON text, which gives every type back.
#pragma once

#include <json/value.h>

namespace qv::json {

/// As `QVJson::CheckEqual`, with no more tolerance than this at any depth: numbers are compared by value, and an absent
/// member equals a null one. A bool, a text and a number never equal each other, nor does a double equal its float.
bool AreSame(const Json::Value& left, const Json::Value& right);

}  // namespace qv::json
