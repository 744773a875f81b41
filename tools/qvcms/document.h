/// Documents that slaves send.
#pragma once

#include <json/value.h>

#include <string>

#include "exitcodes.h"
#include "options.h"

namespace qvcms {

/// Reads a JSON object from a file, or from standard input for "-". Throws `Failure` (65) with one line that names
/// the file, and the line and column where they are known.
Json::Value ReadDocument(const std::string& path, const GlobalOptions& options);

/// The failure (65) for a document that was read but has something of the wrong type in it.
/// @param reason what was said about it when it was applied
Failure WrongType(const std::string& path, const Json::Value& document, const std::string& reason);

/// The same where the place is known.
/// @param place    such as "cam_count" or "POS_info[2].status"; empty: unknown
/// @param outcome  what became of the rest of the document
Failure WrongTypeAt(const std::string& path, const std::string& place, const std::string& reason,
                    const std::string& outcome);

}  // namespace qvcms
