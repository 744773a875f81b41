/// Comparing a value with a JSON text without making the one from the other.
#pragma once

#include <json/value.h>

#include <string_view>

namespace qv::json {

/// How a text stands to a value.
enum class Written {
  Same,     ///< it is what `JsonWrite(value, true)` gives
  Differs,  ///< it means another value
  Unclear,  ///< neither is plain to see: the value has to be read from the text, and compared
};

/// @param text  what `JsonWrite` gave for some value, without blanks. Thread-safe.
Written CompareWritten(const Json::Value& value, std::string_view text);

}  // namespace qv::json
