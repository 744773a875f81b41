/// list: the rows of one kind.

#include <algorithm>

#include "commands.h"
#include "exitcodes.h"
#include "openhost.h"
#include "output.h"

namespace qvcms {

int Run(const GlobalOptions& global, const ListOptions& options) {
  /// Rows read, and laid out as columns, at a time. The first of them are there soon.
  constexpr std::size_t kPage = 100;
  const auto kinds = qv::Host::Kinds();
  const auto kind =
      std::find_if(kinds.begin(), kinds.end(), [&](const auto& each) { return each.name == options.kind; });
  const auto& columns = options.wide ? kind->all_columns : kind->columns;
  RowFormatter formatter(global.format, {columns.begin(), columns.end()}, options.wide);
  const OpenHost host(HostToRead(global));
  bool is_read = true;
  host.ForEachPage({.kind = options.kind, .zr = options.zr, .limit = kPage, .extra_values = options.extra_values},
                   [&](const std::vector<qv::Row>& rows) { return is_read = Print(formatter.Page(rows)); });
  if (is_read) Print(formatter.End());
  return kDone;
}

}  // namespace qvcms
