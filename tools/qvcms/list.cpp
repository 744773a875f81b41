/// list: the rows of one kind.

#include <algorithm>

#include "commands.h"
#include "exitcodes.h"
#include "host.h"
#include "output.h"
#include "record/table.h"

namespace qvcms {
namespace {

/// What a table shows of the kind.
std::vector<std::string> ShownColumns(const Kind& kind, bool wide) {
  if (!wide) return {kind.columns.begin(), kind.columns.end()};
  std::vector<std::string> columns;
  for (const qv::record::Field& field : kind.table->fields()) {
    if (field.info.role != FieldRole::Secret) columns.emplace_back(field.info.column);
  }
  for (const std::string_view column : kind.columns) {  // what a kind tells of other tables' rows is no field
    if (std::find(columns.begin(), columns.end(), column) == columns.end()) columns.emplace_back(column);
  }
  return columns;
}

}  // namespace

int Run(const GlobalOptions& global, const ListOptions& options) {
  const Host host(global, Host::Unused::LeaveAsItIs);
  const Kind& kind = *options.kind;
  const qv::record::Where where = options.zr ? RowsOf(kind, *options.zr) : qv::record::Where();
  Print(FormatRows(global.format, ShownColumns(kind, options.wide), kind.table->List(where), options.wide));
  return kDone;
}

}  // namespace qvcms
