/// Counts over all that the host holds.

#include <string_view>

#include "guard.h"
#include "kinds.h"

namespace qv {
namespace {

/// The column with the state that servers report of a kind's devices; null if they report none.
const char* StatusColumn(const host::Kind& kind) {
  for (const record::Field& field : kind.table->fields()) {
    const std::string_view key = field.info.json_key == nullptr ? field.info.column : field.info.json_key;
    if (field.info.role == FieldRole::Status && key == "status") return field.info.column;
  }
  return nullptr;
}

std::int64_t DatabaseSize(db::Session& session) {
  const bool is_file = session.connection().dialect() == db::Dialect::Sqlite;
  db::Query query = session.Prepare(is_file ? "SELECT page_count*page_size FROM pragma_page_count(),pragma_page_size()"
                                            : "SELECT pg_database_size(current_database())");
  return query.Next() ? query.Row().Int(0) : 0;
}

}  // namespace

Statistics Host::Statistics() const {
  return host::Guarded([&] {
    qv::Statistics statistics;
    if (!has_data_) return statistics;
    db::Session& session = db::ThisThread();
    {
      db::Query query = session.Prepare("SELECT target,count(*),min(id) FROM message GROUP BY target ORDER BY target");
      while (query.Next()) {
        statistics.messages.push_back({std::string(query.Row().Text(0)), query.Row().Int(1), query.Row().Int(2)});
      }
    }
    for (const host::Kind& kind : host::AllKinds()) {
      const char* const status = StatusColumn(kind);
      if (status == nullptr || kind.role == host::Role::Outbox || kind.name == "server") continue;
      const std::string column = status;
      std::string sql = "SELECT " + column;
      sql.append(",count(*) FROM ").append(kind.table->name());
      sql.append(" GROUP BY ").append(column).append(" ORDER BY ").append(column);
      db::Query query = session.Prepare(sql);
      while (query.Next()) {
        statistics.devices.push_back({std::string(kind.name), query.Row().Int(0), query.Row().Int(1)});
      }
    }
    statistics.database_bytes = DatabaseSize(session);
    return statistics;
  });
}

}  // namespace qv
