/// What the program prints: tables for people, JSON for programs, one line for an error.
#pragma once

#include <qv/json.h>

#include <string>
#include <string_view>
#include <vector>

#include "options.h"

namespace qvcms {

/// Turns rows into text, page by page, so that a long listing needs no more memory than a page.
///
/// A table has aligned columns under a header line; control characters are escaped, a long cell ends in "…" unless
/// `wide`. Numbers stand to the right. The columns are as wide as the cells so far: where a later page needs more room,
/// they get wider from there on. JSON is one array of objects, with all members in the order of the row.
class RowFormatter {
 public:
  /// @param columns  what a table shows, in this order
  /// @param colored  columns that are named for changes are in colours, where something did change
  RowFormatter(Format format, std::vector<std::string> columns, bool wide, bool colored = false);
  /// The text of these rows.
  std::string Page(const std::vector<qv::Row>& rows);
  /// What ends the text, and starts it if there was no page.
  std::string End();

 private:
  std::string TablePage(const std::vector<qv::Row>& rows);

  const Format format_;
  const std::vector<std::string> columns_;
  const bool wide_;
  const bool colored_;
  qv::JsonRows json_;
  bool started_ = false;
  std::vector<int> widths_;
  std::vector<bool> numeric_;  ///< columns with nothing but numbers on the first page
};

/// All rows at once.
std::string FormatRows(Format format, const std::vector<std::string>& columns, const std::vector<qv::Row>& rows,
                       bool wide);

/// What pair, update and plan report: the counts of each kind, then the entries of the document that were not used.
/// Numbers of rows that were added, updated or removed are in colours if `colored`.
std::string FormatImport(Format format, const qv::ImportResult& result, bool colored);

/// What status reports: the server's record, then the entries that were not used.
std::string FormatStatus(Format format, const qv::StatusResult& result);

/// What remove reports: what went of each kind, and rows of others that no longer refer to the server.
std::string FormatRemoval(Format format, int zr, const qv::RemoveResult& result);

/// Writes to standard output and sees it delivered. Throws `Failure` when it cannot be.
/// @return false when the reader has seen enough and left (`list camera | head`), which is no error
bool Print(std::string_view text);

/// As `Print`, for the report of what has been committed: whoever does not get it is told that it is.
void PrintApplied(std::string_view report);

/// Whether standard output takes colours: it is a terminal and the environment has no NO_COLOR, or they are asked for.
bool IsColored(Color color);

/// Writes "qvcms: TEXT" to standard error, as one line whatever the text holds.
void Complain(std::string_view text);

}  // namespace qvcms
