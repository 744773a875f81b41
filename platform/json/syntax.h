/// Where a JSON text is wrong, and why: for texts that the fast parser refused, which says neither.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qv::json {

struct Problem {
  std::string reason;
  std::size_t offset;  ///< of the first byte that is wrong
};

/// The first problem of `text`: bytes that are not UTF-8 before anything else, then syntax, depth, members given
/// twice and numbers that a double cannot hold, in the order of the text. @return none for a document
std::optional<Problem> FindProblem(std::string_view text, std::size_t max_depth);

}  // namespace qv::json
