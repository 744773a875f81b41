/// Bodies that are sent compressed, in both directions.
#pragma once

#include <string>
#include <string_view>

namespace qvcmsd {

/// The text of a gzip file. Throws `qv::Refusal`: UnreadableDocument when it is damaged or something follows it,
/// DocumentTooLarge when the text is larger than `limit` bytes.
std::string Inflate(std::string_view compressed, std::size_t limit);

/// The text as a gzip file. Throws `std::bad_alloc`.
std::string Deflate(std::string_view text);

}  // namespace qvcmsd
