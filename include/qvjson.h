/// Comparison and text of JSON values.
#pragma once

#include <json/value.h>

#include <string>

namespace QVJson {

/// Whether two values mean the same once both have been through the host's database, whose columns have one type
/// each: what was sent as an int may come back as a bool, what was sent as a double may come back as a float.
///
/// - null equals null, an absent member equals a null member
/// - numbers are compared by value: 1 equals 1.0; two integers are compared exactly
/// - a double equals the float nearest to it: 0.1 equals the widened 0.1f, in either order
/// - a bool equals a number when the number, read as a bool, is that bool: true equals 1 and 7, false equals 0
/// - a number equals the text that a text column keeps of it: 5 equals "5"
/// - texts are compared byte by byte, arrays element by element in order, objects member by member
bool CheckEqual(const Json::Value& left, const Json::Value& right);

}  // namespace QVJson

/// `value` as text, keys in order of their bytes. @param compact true: one line without blanks; false: indented
std::string JsonWrite(const Json::Value& value, bool compact);
