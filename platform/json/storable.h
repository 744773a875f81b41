/// Which values the host can keep so that they read back equal.
#pragma once

#include <json/value.h>

#include <string_view>

namespace qv::json {

/// Checks a value that is to be stored as JSON text. A NUL inside a text is fine there, since JSON escapes it.
/// Thread-safe.
/// @return null if `ReadDocument` gives back an equal value from what `JsonWrite` makes of `value`; else the reason
///         why it would not, for a log line or an error: "a text is not UTF-8", "the name of a member is not UTF-8",
///         "a number is infinite or not a number", "it is nested deeper than 1000 levels"
const char* WhyNotStorable(const Json::Value& value);
/// The same where `written`, what `JsonWrite` makes of the value, is there already: this costs less.
const char* WhyNotStorable(const Json::Value& value, std::string_view written);
/// The same for a member of an object that is to be stored.
const char* WhyMemberNotStorable(std::string_view name, const Json::Value& value);

/// Checks a text that is to be stored in a text column. Thread-safe.
/// @return null if every database keeps it as it is; else the reason why not: "it is not UTF-8", "it contains a NUL"
const char* WhyNotStorableText(std::string_view text);

}  // namespace qv::json
