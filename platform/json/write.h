/// Comparing a value with its text without making the text.
#pragma once

#include <json/value.h>

#include <string_view>

namespace qv::json {

/// Whether `text` is what `JsonWrite(value, true)` gives.
bool IsWrittenAs(const Json::Value& value, std::string_view text);

}  // namespace qv::json
