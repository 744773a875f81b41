/// The names of members, kept once for the life of the process, so that values need no copies of their own.
#pragma once

#include <string_view>

namespace qv::json {

/// Thread-safe.
/// @return `name` as a text that is never freed; null if it contains a NUL, or if the names kept so far have reached
///         256 KiB: documents come from outside and must not fill the memory with names
const char* KeepName(std::string_view name);

}  // namespace qv::json
