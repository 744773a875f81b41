/// Reads documents that the fast parser refuses, which says neither where nor why.
#pragma once

#include <string>
#include <string_view>

#include "json/document.h"

namespace qv::json {

/// Finds out why the fast parser refuses `text`.
/// @return the text with ".0" behind integers of more than 64 bits, which the fast parser refuses and takes as doubles
/// @throws DocumentError with the place of the first fault
std::string Diagnose(std::string_view text, const ReadLimits& limits);

}  // namespace qv::json
