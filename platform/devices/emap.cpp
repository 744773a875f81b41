#include "emap.h"

#include <algorithm>
#include <set>

#include "db/database.h"
#include "devices/emapitems.h"
#include "record/attempt.h"

using namespace qv;  // NOLINT(google-build-using-namespace): what follows is the package's interface

namespace {

/// Devices that one query asks about; a statement has a limited number of parameters.
constexpr std::ptrdiff_t kIdsPerQuery = 512;

const char* ColumnOf(EMAP_TYPE type) { return type == EMAP_TYPE_POS ? "pos_id" : "speaker_id"; }

}  // namespace

std::list<int> GetRelatedEmapIdsByEmapItemType(EMAP_TYPE type, const std::list<int>& ids) {
  std::set<int> emaps;
  const int result = record::Attempt("Failed to find the items of e-maps", [&] {
    auto left = static_cast<std::ptrdiff_t>(ids.size());
    for (auto first = ids.begin(); first != ids.end();) {
      const std::ptrdiff_t count = std::min(kIdsPerQuery, left);
      const auto last = std::next(first, count);
      left -= count;
      record::Where where;
      where.In(ColumnOf(type), std::list<int>(first, last));
      db::Query query = db::ThisThread().Prepare("SELECT emap_id FROM " + devices::EmapItemTable().name() +
                                                 where.Sql() + " ORDER BY id");
      where.Bind(query);
      while (query.Next()) emaps.insert(static_cast<int>(query.Row().Int(0)));
      first = last;
    }
  });
  return result == 0 ? std::list<int>(emaps.begin(), emaps.end()) : std::list<int>();
}
