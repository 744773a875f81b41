#include "setmerge.h"

#include "columns.h"

namespace bench {
namespace {

std::string MergeText() {
  const std::vector<Column>& columns = ReportedCameraColumns();
  const std::string names = ColumnNames(columns);
  std::string values;
  std::string assignments;
  for (const Column& column : columns) {
    values += "entry.value->>'" + column.Key() + "',";
    assignments += (assignments.empty() ? "" : ",") + std::string(column.info.column) + "=excluded." +
                   std::string(column.info.column);
  }
  return "INSERT INTO camera (" + names + ",owner_zr_id) SELECT " + values +
         "?2 FROM json_each(?1,'$.camera_info') AS entry WHERE true ON CONFLICT (owner_zr_id,id_on_rec_server) "
         "DO UPDATE SET " +
         assignments + " WHERE (" + ColumnNames(columns, "camera.") + ") IS NOT (" + ColumnNames(columns, "excluded.") +
         ")";
}

}  // namespace

SetMerge::SetMerge(const std::filesystem::path& file) : database_(file, false) {
  database_.Execute(
      "DROP INDEX camera_by_owner_zr_id; CREATE UNIQUE INDEX camera_by_owner ON camera "
      "(owner_zr_id,id_on_rec_server)");
  merge_ = database_.Prepare(MergeText());
  delete_ = database_.Prepare(
      "DELETE FROM camera WHERE owner_zr_id=?2 AND id_on_rec_server NOT IN "
      "(SELECT entry.value->>'id' FROM json_each(?1,'$.camera_info') AS entry)");
}

int SetMerge::Apply(const std::string& snapshot, int zr) {
  database_.Execute("BEGIN IMMEDIATE");
  int written = 0;
  for (sqlite3_stmt* statement : {merge_.get(), delete_.get()}) {
    database_.Check(sqlite3_bind_text(statement, 1, snapshot.data(), static_cast<int>(snapshot.size()), SQLITE_STATIC));
    database_.Check(sqlite3_bind_int(statement, 2, zr));
    database_.Run(statement);
    written += sqlite3_changes(database_.get());
  }
  database_.Execute("COMMIT");
  return written;
}

}  // namespace bench
