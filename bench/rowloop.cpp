#include "rowloop.h"

#include <algorithm>

#include "columns.h"
#include "qvjson.h"

namespace bench {
namespace {

std::vector<std::string> ValuesOf(const Json::Value& entry) {
  std::vector<std::string> values;
  for (const Column& column : ReportedCameraColumns()) {
    const Json::Value& value = entry[column.Key()];
    if (column.is_json) {
      values.push_back(JsonWrite(value, true));
    } else {
      values.push_back(value.isBool() ? std::to_string(static_cast<int>(value.asBool())) : value.asString());
    }
  }
  return values;
}

}  // namespace

int RowLoop::Apply(const Json::Value& cameras, int zr) {
  std::list<Row> rows = Load(zr);
  int written = 0;
  for (const Json::Value& entry : cameras) {
    const int id = entry["id"].asInt();
    auto row = std::find_if(rows.begin(), rows.end(), [&](const Row& known) { return known.id_on_slave == id; });
    if (row == rows.end()) row = rows.insert(row, Row{.id_on_slave = id});
    std::vector<std::string> values = ValuesOf(entry);
    if (row->values == values) continue;
    row->values = std::move(values);
    Save(*row, zr);
    ++written;
  }
  return written;
}

std::list<RowLoop::Row> RowLoop::Load(int zr) const {
  const RawStatement select = database_.Prepare("SELECT id,id_on_rec_server," + ColumnNames(ReportedCameraColumns()) +
                                                " FROM camera WHERE owner_zr_id=?1 ORDER BY id");
  database_.Check(sqlite3_bind_int(select.get(), 1, zr));
  std::list<Row> rows;
  while (database_.Check(sqlite3_step(select.get()))) {
    Row& row = rows.emplace_back();
    row.id = sqlite3_column_int64(select.get(), 0);
    row.id_on_slave = sqlite3_column_int(select.get(), 1);
    for (int column = 2; column < sqlite3_column_count(select.get()); ++column) {
      row.values.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(select.get(), column)));
    }
  }
  return rows;
}

void RowLoop::Save(const Row& row, int zr) const {
  std::string sql;
  const std::vector<Column>& columns = ReportedCameraColumns();
  if (row.id == 0) {
    std::string parameters;
    for (std::size_t i = 0; i < columns.size(); ++i) parameters += "?,";
    sql = "INSERT INTO camera (" + ColumnNames(columns) + ",owner_zr_id) VALUES (" + parameters + "?)";
  } else {
    for (const Column& column : columns) sql += (sql.empty() ? "" : ",") + std::string(column.info.column) + "=?";
    sql = "UPDATE camera SET " + sql + " WHERE id=?";
  }
  const RawStatement statement = database_.Prepare(sql);
  int parameter = 0;
  for (const std::string& value : row.values) {
    database_.Check(
        sqlite3_bind_text(statement.get(), ++parameter, value.data(), static_cast<int>(value.size()), SQLITE_STATIC));
  }
  database_.Check(sqlite3_bind_int64(statement.get(), ++parameter, row.id == 0 ? zr : row.id));
  database_.Run(statement.get());
}

}  // namespace bench
