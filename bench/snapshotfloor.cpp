#include "snapshotfloor.h"

#include "columns.h"
#include "qvjson.h"

namespace bench {
namespace {

std::string_view TextOf(const Json::Value& value) {
  const char* begin = nullptr;
  const char* end = nullptr;
  value.getString(&begin, &end);
  return {begin, end};
}

/// "name=?1,enabled=?2,..."
std::string Assignments() {
  std::string text;
  for (const Column& column : ReportedCameraColumns()) {
    text += (text.empty() ? "" : ",") + std::string(column.info.column) + "=?";
  }
  return text;
}

std::string Parameters(std::size_t count) {
  std::string text = "?";
  while (--count > 0) text += ",?";
  return text;
}

}  // namespace

SnapshotFloor::SnapshotFloor(const std::filesystem::path& file)
    : database_(file, false),
      select_(database_.Prepare("SELECT id,id_on_rec_server," + ColumnNames(ReportedCameraColumns()) +
                                " FROM camera WHERE owner_zr_id=?1")),
      insert_(database_.Prepare("INSERT INTO camera (" + ColumnNames(ReportedCameraColumns()) +
                                ",owner_zr_id) VALUES (" + Parameters(ReportedCameraColumns().size() + 1) + ")")),
      update_(database_.Prepare("UPDATE camera SET " + Assignments() + " WHERE id=?")),
      delete_(database_.Prepare("DELETE FROM camera WHERE id=?1")),
      begin_(database_.Prepare("BEGIN IMMEDIATE")),
      commit_(database_.Prepare("COMMIT")) {}

int SnapshotFloor::Apply(const Json::Value& cameras, int zr) {
  database_.Run(begin_.get());
  Load(zr);
  int written = 0;
  for (const Json::Value& given : cameras) {
    const Json::Value entry = given;  // NOLINT(performance-unnecessary-copy-initialization): the interface's copy
    const auto row = rows_.find(entry["id"].asInt());
    if (row == rows_.end()) {
      Write(insert_.get(), entry, zr);
      ++written;
      continue;
    }
    if (!Equals(row->second, entry)) {
      Write(update_.get(), entry, row->second.id);
      ++written;
    }
    rows_.erase(row);
  }
  for (const auto& [id_on_slave, row] : rows_) {
    database_.Check(sqlite3_bind_int64(delete_.get(), 1, row.id));
    database_.Run(delete_.get());
    ++written;
  }
  database_.Run(commit_.get());
  return written;
}

void SnapshotFloor::Load(int zr) {
  rows_.clear();
  cells_.clear();
  texts_.clear();
  sqlite3_stmt* rows = select_.get();
  database_.Check(sqlite3_bind_int(rows, 1, zr));
  while (database_.Check(sqlite3_step(rows))) {
    rows_.emplace(sqlite3_column_int(rows, 1), Row{sqlite3_column_int64(rows, 0), cells_.size()});
    int index = 2;
    for (const Column& column : ReportedCameraColumns()) {
      if (column.is_text) {
        const char* text = reinterpret_cast<const char*>(sqlite3_column_text(rows, index));
        const auto length = static_cast<std::size_t>(sqlite3_column_bytes(rows, index));
        cells_.push_back({static_cast<std::int64_t>(texts_.size()), length});
        texts_.append(text, length);
      } else {
        cells_.push_back({sqlite3_column_int64(rows, index), 0});
      }
      ++index;
    }
  }
  database_.Check(sqlite3_reset(rows));
}

bool SnapshotFloor::Equals(const Row& row, const Json::Value& entry) const {
  auto member = entry.begin();
  const Cell* cell = &cells_[row.first_cell];
  for (const Column& column : ReportedCameraColumns()) {
    const Json::Value& value = *member;
    if (column.is_text) {
      const auto begin = static_cast<std::size_t>(cell->number);
      const std::string_view text(texts_.data() + begin, cell->length);
      if (column.is_json ? JsonWrite(value, true) != text : TextOf(value) != text) return false;
    } else if ((value.isBool() ? static_cast<int>(value.asBool()) : value.asInt()) != cell->number) {
      return false;
    }
    ++member;
    ++cell;
  }
  return true;
}

void SnapshotFloor::Write(sqlite3_stmt* statement, const Json::Value& entry, std::int64_t last_parameter) {
  nested_.clear();
  nested_.reserve(ReportedCameraColumns().size());  // what is bound must stay where it is
  auto member = entry.begin();
  int parameter = 0;
  for (const Column& column : ReportedCameraColumns()) {
    const Json::Value& value = *member++;
    ++parameter;
    if (!column.is_text) {
      sqlite3_bind_int64(statement, parameter, value.isBool() ? static_cast<int>(value.asBool()) : value.asInt());
      continue;
    }
    const std::string_view text = column.is_json ? nested_.emplace_back(JsonWrite(value, true)) : TextOf(value);
    sqlite3_bind_text(statement, parameter, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
  }
  sqlite3_bind_int64(statement, ++parameter, last_parameter);
  database_.Run(statement);
}

}  // namespace bench
