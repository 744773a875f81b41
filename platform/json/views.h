/// Looking at values without copying their texts.
#pragma once

#include <json/value.h>

#include <string_view>

namespace qv::json {

/// The text of `value`, which must be a string.
inline std::string_view TextOf(const Json::Value& value) {
  const char* begin = nullptr;
  const char* end = nullptr;
  value.getString(&begin, &end);
  return {begin, end};
}

/// The name of the member of an object that `member` points to.
inline std::string_view NameOf(const Json::Value::const_iterator& member) {
  const char* end = nullptr;
  const char* const begin = member.memberName(&end);
  return {begin, end};
}

}  // namespace qv::json
