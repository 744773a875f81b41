/// What the program prints: tables for people, JSON for programs, one line for an error.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "options.h"
#include "record/table.h"

namespace qvcms {

/// Rows as aligned columns under a header line; control characters are escaped, a long cell ends in "…" unless
/// `wide`. Numbers stand to the right.
std::string FormatTable(const std::vector<std::string>& header, const std::vector<qv::record::ListedRow>& rows,
                        bool wide);

/// Rows as one JSON array of objects, members in the order of the row.
std::string FormatJson(const std::vector<qv::record::ListedRow>& rows);

/// Rows in the format asked for. `columns`: what a table shows, in this order.
std::string FormatRows(Format format, const std::vector<std::string>& columns,
                       const std::vector<qv::record::ListedRow>& rows, bool wide);

/// Writes to standard output and sees it delivered. Throws `Failure` when it cannot be; a reader that has seen enough
/// and left (`list camera | head`) is no error.
void Print(std::string_view text);

/// As `Print`, for the report of what has been committed: whoever does not get it is told that it is.
void PrintApplied(std::string_view report);

/// Writes "qvcms: TEXT" to standard error, as one line whatever the text holds.
void Complain(std::string_view text);

}  // namespace qvcms
