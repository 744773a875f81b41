/// UTF-8, one sequence at a time.
#pragma once

#include <cstddef>
#include <string_view>

namespace qv::text {

/// Length in bytes of the well-formed UTF-8 sequence at `begin`, which must lie within `text`; 0: there is none.
std::size_t Utf8SequenceLength(std::string_view text, std::size_t begin);

}  // namespace qv::text
