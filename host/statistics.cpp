/// Counts over all that the host holds.

#include "guard.h"
#include "kinds.h"

namespace qv {
namespace {

/// A kind of devices, and its column with the state that servers report.
struct Reported {
  const host::Kind* kind;
  std::string status;
};

std::vector<Reported> ReportedKinds() {
  std::vector<Reported> kinds;
  for (const host::Kind& kind : host::AllKinds()) {
    if (const char* const status = host::StatusColumn(kind)) kinds.push_back({&kind, status});
  }
  return kinds;
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
      // The messages are counted in the indexes. Of the rows, only that of each target's oldest one is read.
      db::Query query = session.Prepare(
          "SELECT counts.target,waits,refused,coalesce(created,0) FROM ("
          "SELECT target,sum(waits) AS waits,sum(refused) AS refused,min(oldest) AS oldest FROM ("
          "SELECT target,count(*) AS waits,0 AS refused,min(id) AS oldest FROM message WHERE set_aside='' "
          "GROUP BY target UNION ALL "
          "SELECT target,0,count(*),NULL FROM message WHERE set_aside<>'' GROUP BY target) AS kinds "
          "GROUP BY target) AS counts LEFT JOIN message ON message.id=oldest ORDER BY counts.target");
      while (query.Next()) {
        const db::Statement& row = query.Row();
        const std::chrono::system_clock::time_point oldest(std::chrono::milliseconds(row.Int(3)));
        statistics.messages.push_back({std::string(row.Text(0)), row.Int(1), oldest, row.Int(2)});
      }
    }
    for (const auto& [kind, status] : ReportedKinds()) {
      std::string sql = "SELECT " + status;
      sql.append(",count(*) FROM ").append(kind->table->name());
      sql.append(" GROUP BY ").append(status).append(" ORDER BY ").append(status);
      db::Query query = session.Prepare(sql);
      while (query.Next()) {
        statistics.devices.push_back({std::string(kind->name), query.Row().Int(0), query.Row().Int(1)});
      }
    }
    statistics.database_bytes = DatabaseSize(session);
    return statistics;
  });
}

std::map<int, ServerCounts> Host::CountByServer() const {
  return host::Guarded([&] {
    std::map<int, ServerCounts> servers;
    if (!has_data_) return servers;
    const db::Snapshot one_state;
    db::Session& session = db::ThisThread();
    for (const auto& [kind, status] : ReportedKinds()) {
      db::Query query =
          session.Prepare("SELECT owner_zr_id,count(*),sum(CASE WHEN " + status + "=1 THEN 0 ELSE 1 END) FROM " +
                          kind->table->name() + " WHERE owner_zr_id>0 GROUP BY owner_zr_id");
      while (query.Next()) {
        servers[static_cast<int>(query.Row().Int(0))].devices.push_back(
            {std::string(kind->name), query.Row().Int(1), query.Row().Int(2)});
      }
    }
    db::Query query =
        session.Prepare("SELECT zr_id,count(*) FROM message WHERE zr_id>0 AND set_aside='' GROUP BY zr_id");
    while (query.Next()) servers[static_cast<int>(query.Row().Int(0))].messages = query.Row().Int(1);
    return servers;
  });
}

}  // namespace qv
