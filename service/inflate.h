/// Bodies that were sent compressed.
#pragma once

#include <string>
#include <string_view>

namespace qvcmsd {

/// The text of a gzip file. Throws `qv::Refusal`: UnreadableDocument when it is damaged, when it is larger than
/// `limit`, or when something follows it.
std::string Inflate(std::string_view compressed, std::size_t limit);

}  // namespace qvcmsd
