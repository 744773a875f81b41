/// Comparison and text of JSON values. Values may be nested as deep as a document may be.
#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

namespace QVJson {

/// Whether two records, or two values of one column, mean the same once both have been through the host's database,
/// whose columns have one type each: what was sent as an int may come back as a bool, what was sent as a double may
/// come back as a float.
///
/// - null equals null, an absent member equals a null member
/// - numbers are compared by value: 1 equals 1.0; two integers are compared exactly
/// - a double equals the float nearest to it: 0.1 equals the widened 0.1f, in either order
/// - true equals 1, false equals 0, and neither equals another number
/// - texts are compared byte by byte, arrays element by element in order, objects member by member
///
/// Inside an array, and inside an object that is a member, nothing has been through a column: there a bool equals no
/// number, and a double no float but itself.
bool CheckEqual(const Json::Value& left, const Json::Value& right);

}  // namespace QVJson

/// `value` as text, keys in order of their bytes. Numbers read back as the same number of the same type: a double
/// that holds a whole number keeps its ".0"; one that JSON cannot hold (NaN, infinity) becomes null.
/// @param compact true: one line without blanks; false: indented
std::string JsonWrite(const Json::Value& value, bool compact);

/// A record as text for a log line: as `JsonWrite(value, true)`, with "***" in place of every secret.
std::string JsonDump(const Json::Value& value);

/// Puts "***" in the place of every secret: the value of a member that `IsSecretKey` names; in a text, the password of
/// "user:password@" and the value of "password=value", where the name before "=" is such a one; and all of these in a
/// text that is itself a JSON object or array. @return whether there was one
bool MaskSecrets(Json::Value& value);

/// Whether a member of this name holds a secret, which is neither logged nor listed.
bool IsSecretKey(std::string_view name);
