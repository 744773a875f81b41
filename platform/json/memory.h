/// What a document takes in memory beyond its text: a value of two bytes becomes a node of a hundred.
#pragma once

#include <simdjson.h>

#include <cstddef>

namespace qv::json {

/// The most that any document of `text_size` bytes can take.
std::size_t MostMemory(std::size_t text_size);

/// What reading the document `root` of `text_size` bytes and applying it takes at a time, in bytes.
std::size_t CountMemory(const simdjson::dom::element& root, std::size_t text_size);

}  // namespace qv::json
