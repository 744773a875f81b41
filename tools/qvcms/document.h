/// Documents that slaves send: reading them, and refusing what cannot be applied.
#pragma once

#include <json/value.h>

#include <string>

#include "exitcodes.h"
#include "options.h"

namespace qvcms {

/// Reads a JSON object from a file, or from standard input for "-". Throws `Failure` (65) with one line that names
/// the file, and the line and column where they are known.
Json::Value ReadDocument(const std::string& path, const GlobalOptions& options);

/// Reads a configuration snapshot. Throws `Failure` (65) for a document of another kind and for one with something of
/// the wrong type. A document with nothing that a snapshot has is returned: it may be a server without devices, but
/// rather is the answer to a refused question; see `RequireSections`.
Json::Value ReadSnapshot(const std::string& path, int zr, const GlobalOptions& options);

/// Throws `Failure` (65) when no section of a snapshot is there.
void RequireSections(const std::string& path, const Json::Value& document);

/// Reads a status report. Throws `Failure` (65) as `ReadSnapshot` does, and for a report that does not say how the
/// server is.
Json::Value ReadReport(const std::string& path, int zr, const GlobalOptions& options);

/// The failure (65) for a document that was applied until a value of the wrong type came up which nobody looks for
/// beforehand.
/// @param outcome  what became of the rest of the document
Failure WrongTypeSomewhere(const std::string& path, const std::string& outcome);

}  // namespace qvcms
