/// The names of members that lists of objects have in common, kept once for the life of the process.
#pragma once

#include <string_view>

namespace qv::json {

/// `name` as a text that is never freed, so that values need no copy of it; null when it holds a NUL, or when the
/// names kept so far have reached their limit (documents come from outside: they must not fill the memory with names).
/// May be called from any thread.
const char* KeepName(std::string_view name);

}  // namespace qv::json
