/// list: the rows of one kind.

#include <algorithm>

#include "commands.h"
#include "exitcodes.h"
#include "host.h"
#include "output.h"
#include "record/table.h"
#include "rowpages.h"

namespace qvcms {
namespace {

/// Rows read, and laid out as columns, at a time. The first of them are there soon.
constexpr std::size_t kPage = 500;

/// Leaves only the names of members that a slave reported without the host knowing them: their values may be secrets.
void HideExtraValues(const Kind& kind, std::vector<qv::record::ListedRow>& rows) {
  for (const qv::record::Field& field : kind.table->fields()) {
    if (field.info.role != FieldRole::Extra) continue;
    for (qv::record::ListedRow& row : rows) {
      for (auto& [name, value] : row) {
        if (name != field.info.column || !value.isObject()) continue;
        Json::Value names(Json::arrayValue);
        for (const std::string& member : value.getMemberNames()) names.append(member);
        value = std::move(names);
      }
    }
  }
}

/// What a table shows of the kind.
std::vector<std::string> ShownColumns(const Kind& kind, bool wide) {
  if (!wide) return {kind.columns.begin(), kind.columns.end()};
  std::vector<std::string> columns;
  for (const qv::record::Field& field : kind.table->fields()) {
    if (IsListed(field.info.role)) columns.emplace_back(field.info.column);
  }
  for (const std::string_view column : kind.columns) {  // what a kind tells of other tables' rows is no field
    if (std::find(columns.begin(), columns.end(), column) == columns.end()) columns.emplace_back(column);
  }
  return columns;
}

}  // namespace

int Run(const GlobalOptions& global, const ListOptions& options) {
  const Kind& kind = *options.kind;
  RowFormatter formatter(global.format, ShownColumns(kind, options.wide), options.wide);
  if (IsUnused(global.data_dir)) {
    const std::string nothing = formatter.Page({});
    Print(nothing + formatter.End());
    return kDone;
  }
  const Host host(global);
  RowPages pages(kind, options.zr, 0);
  std::vector<qv::record::ListedRow> rows;
  do {
    rows = pages.Next(kPage);
    if (!options.extra_values) HideExtraValues(kind, rows);
    if (!Print(formatter.Page(rows))) return kDone;
  } while (!rows.empty());
  Print(formatter.End());
  return kDone;
}

}  // namespace qvcms
