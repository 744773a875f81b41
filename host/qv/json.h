/// The results of `qv::Host` as JSON texts, so that all programs print the same. A text ends with a line break.
/// Characters that control a terminal are escaped.
///
/// The functions are thread-safe. Only one thread at a time may use a `JsonRows`.
#pragma once

#include "host.h"

namespace qv {

/// An array of rows, page by page, so that a long listing needs no more memory than a page. Each row is an object on a
/// line of its own, with its members in the order of the row.
class QV_HOST_API JsonRows {
 public:
  /// The text of these rows. The first page starts the array.
  std::string Page(std::span<const Row> rows);
  /// The end of the array; the whole array if there was no page.
  std::string End() const;

 private:
  bool started_ = false;
  bool has_rows_ = false;
};

/// The whole array.
QV_HOST_API std::string ToJson(std::span<const Row> rows);
/// A row for each kind, as `RowsOf`; then one for each entry that was not used: kind "unused-entry", place, reason;
/// then, of a plan, one for each reason why an update would be refused: kind "refusal", code, reason.
QV_HOST_API std::string ToJson(const ImportResult& result);
/// An object: the record's members, and "unused_entries" with the reason by place when there are some.
QV_HOST_API std::string ToJson(const StatusResult& result);
/// An array as `RowsOf` gives it.
QV_HOST_API std::string ToJson(const RemoveResult& result);

/// What an import changed: kind, added, updated, removed, unchanged.
QV_HOST_API std::vector<Row> RowsOf(const ImportResult& result);
/// What a removal changed: kind, removed, updated; kinds with neither are left out.
QV_HOST_API std::vector<Row> RowsOf(const RemoveResult& result);
/// What `Host::SetConfiguring` set: kind, id, configuring.
QV_HOST_API Row ConfiguringRow(std::string_view kind, int id, bool on);

/// Any value.
/// @param compact  true: one line without blanks and without a line break at its end; false: indented lines
QV_HOST_API std::string ToJson(const Json::Value& value, bool compact = true);

}  // namespace qv
