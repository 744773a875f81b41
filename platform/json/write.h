/// Comparing a value with its text without making the text.
#pragma once

#include <json/value.h>

#include <string_view>

namespace qv::json {

/// How a text stands to a value.
enum class Written {
  Same,     ///< it is what `JsonWrite(value, true)` gives
  Differs,  ///< it is what that gives for a value that means something else
  Unclear,  ///< neither is plain to see: the value has to be read from the text, and compared
};

/// @param text  what `JsonWrite` gave for some value
Written CompareWritten(const Json::Value& value, std::string_view text);

/// Whether `text` is what `JsonWrite(value, true)` gives.
inline bool IsWrittenAs(const Json::Value& value, std::string_view text) {
  return CompareWritten(value, text) == Written::Same;
}

}  // namespace qv::json
