#include "rowpages.h"

namespace qvcms {

using qv::record::Where;

namespace {

qv::db::Query SelectIds(const Kind& kind, const Where& where) {
  qv::db::Query ids =
      qv::db::ThisThread().Prepare("SELECT id FROM " + kind.table->name() + where.Sql() + " ORDER BY id");
  where.Bind(ids);
  return ids;
}

}  // namespace

RowPages::RowPages(const Kind& kind, std::optional<int> zr, int after)
    : kind_(kind),
      where_(zr ? RowsOf(kind, *zr) : Where()),
      last_(after),
      ids_(SelectIds(kind, Where(where_).Above("id", after))),
      hold_(SelectIds(kind, Where(where_).Above("id", after))) {
  hold_.Next();
}

std::vector<qv::record::ListedRow> RowPages::Next(std::size_t limit) {
  std::int64_t last = last_;
  for (std::size_t i = 0; i < limit && ids_.Next(); ++i) last = ids_.Row().Int(0);
  if (last == last_) return {};
  std::vector<qv::record::ListedRow> rows = kind_.table->List(Where(where_).Above("id", last_).UpTo("id", last));
  last_ = last;
  return rows;
}

}  // namespace qvcms
