#include "record/table.h"

#include "qvdb.h"
#include "record/fieldvalue.h"

namespace qv::record {
namespace {

db::Query& Bind(db::Query& query, const std::vector<const Field*>& fields, const void* record) {
  for (const Field* field : fields) BindField(*field, record, query);
  return query;
}

db::Query Prepare(const std::string& sql) { return db::ThisThread().Prepare(sql); }

/// "`start` `table` WHERE ...`end`" with the conditions' values.
db::Query Prepare(const std::string& start, const std::string& table, const Where& where, const char* end = "") {
  db::Query query = Prepare(start + table + where.Sql() + end);
  where.Bind(query);
  return query;
}

}  // namespace

std::string AnyTable::SelectionSql(const Where& where, const Columns& columns) const {
  return "SELECT " + columns.names + " FROM " + name() + where.Sql() + " ORDER BY id";
}

db::Query AnyTable::SelectRows(const Where& where, const Columns& columns) const {
  const std::string sql = SelectionSql(where, columns);
  db::Session& session = db::ThisThread();
  if (session.ForeseesAny()) {
    if (std::optional<db::Query> foreseen = session.TakeForeseen(sql + where.Values())) return std::move(*foreseen);
  }
  db::Query query = session.Prepare(sql);
  where.Bind(query);
  return query;
}

void AnyTable::Foresee(const Where& where) const {
  db::Session& session = db::ThisThread();
  if (!session.connection().IsSendingAhead()) return;
  session.Foresee(name(), SelectionSql(where, schema_.all) + where.Values(), SelectRows(where, schema_.all));
}

void AnyTable::ReadColumns(const Columns& columns, const db::Query& query, void* record) {
  int column = 0;
  for (const Field* field : columns.fields) field->set(record, ColumnValue(*field, query.Row(), column++));
}

void AnyTable::ReadRow(void* record, DBResult_tag* result, unsigned row) const {
  for (const Field& field : fields()) {
    field.set(record, ParseColumn(field, QVDBFetchField(result, row, field.info.column)));
  }
}

void AnyTable::RefusePart() { throw db::Error(db::Error::Kind::Statement, "only a part of it has been read"); }

std::int64_t AnyTable::Write(db::Query& query, db::Change change) const {
  const std::int64_t rows = query.Run();
  db::CountChange(name(), change, rows);
  return rows;
}

void AnyTable::WriteLater(db::Query& query, db::Change change) const {
  query.RunLater([this, change](const db::Written& written) { db::CountChange(name(), change, written.rows); });
}

std::int64_t AnyTable::Insert(const void* record) const {
  db::Session& session = db::ThisThread();
  std::optional<db::AllOrNothing> alone;  // an id is taken in the transaction that uses it
  if (!session.connection().InTransaction()) alone.emplace(session);
  std::optional<std::int64_t> id = session.connection().TakeId(name());
  db::Query query = Prepare(id ? schema_.insert_with_id : schema_.insert);
  Bind(query, schema_.written.fields, record);
  if (id) {
    query.Bind(*id);
    WriteLater(query, db::Change::Added);
  } else {
    id = query.RunForId();
    db::CountChange(name(), db::Change::Added, 1);
  }
  if (alone) alone->Keep();
  return *id;
}

bool AnyTable::SaveRecord(void* record) const {
  const int id = HostId(record);
  if (id == 0) {
    schema_.host_id->set(record, Insert(record));
    return true;
  }
  if (schema_.options.caller_assigns_id) {
    db::Query query = Prepare(schema_.insert_if_missing);
    if (Write(Bind(query, schema_.written.fields, record).Bind(id), db::Change::Added) > 0) return true;
  }
  return UpdateRecord(record);
}

void AnyTable::SaveRecordLater(void* record) const {
  if (!db::ThisThread().connection().IsSendingAhead()) {
    SaveRecord(record);
    return;
  }
  const int id = HostId(record);
  if (id == 0) return schema_.host_id->set(record, Insert(record));
  if (schema_.options.caller_assigns_id) {
    db::Query query = Prepare(schema_.insert_if_missing);
    WriteLater(Bind(query, schema_.written.fields, record).Bind(id), db::Change::Added);
  }
  db::Query query = Prepare(schema_.update);
  WriteLater(Bind(query, schema_.written.fields, record).Bind(id), db::Change::Updated);
}

void AnyTable::UpdateLater(const void* record, const Update& update) const {
  db::Query query = Prepare(update.sql);
  WriteLater(Bind(query, update.set.fields, record).Bind(HostId(record)), db::Change::Updated);
}

bool AnyTable::IsOwnedAs(const void* record) const {
  if (schema_.owner == nullptr) return false;
  db::Query query = Prepare(schema_.select_owner);
  return query.Bind(HostId(record)).Next() && Value(query.Row().Int(0)) == schema_.owner->get(record);
}

bool AnyTable::UpdateRecord(const void* record) const {
  const int id = HostId(record);
  if (schema_.owner != nullptr) {
    db::Query query = Prepare(schema_.update_of_owner);
    BindField(*schema_.owner, record, Bind(query, schema_.of_an_owner.fields, record));
    if (Write(query.Bind(id), db::Change::Updated) > 0) return true;
    if (IsOwnedAs(record)) return false;
  }
  db::Query query = Prepare(schema_.update);
  return Write(Bind(query, schema_.written.fields, record).Bind(id), db::Change::Updated) > 0;
}

std::int64_t AnyTable::DeleteWhere(const Where& where) const {
  db::Query query = Prepare("DELETE FROM ", name(), where);
  return Write(query, db::Change::Removed);
}

void AnyTable::DeleteLater(const Where& where) const {
  db::Query query = Prepare("DELETE FROM ", name(), where);
  WriteLater(query, db::Change::Removed);
}

std::int64_t AnyTable::Count(const Where& where) const {
  db::Query query = SendCount(where);
  query.Next();
  return query.Row().Int(0);
}

db::Query AnyTable::SendCount(const Where& where) const {
  db::Query query = Prepare("SELECT COUNT(*) FROM ", name(), where);
  query.Send();
  return query;
}

std::unordered_map<int, int> AnyTable::HostIds(int zrId) const {
  db::Query query =
      Prepare("SELECT id_on_rec_server,id FROM ", name(), Where().Is("owner_zr_id", zrId), " ORDER BY id");
  std::unordered_map<int, int> ids;
  while (query.Next()) ids.emplace(static_cast<int>(query.Row().Int(0)), static_cast<int>(query.Row().Int(1)));
  return ids;
}

std::vector<ListedRow> AnyTable::List(const Where& where) const {
  std::vector<ListedRow> rows;
  for (db::Query query = SelectRows(where, schema_.all); query.Next();) {
    ListedRow& row = rows.emplace_back();
    row.reserve(fields().size());
    int column = 0;
    for (const Field& field : fields()) {
      if (IsListed(field.info.role)) row.emplace_back(field.info.column, ColumnAsJson(field, query.Row(), column));
      ++column;
    }
  }
  if (schema_.options.complete_listing != nullptr) schema_.options.complete_listing(where, rows);
  return rows;
}

int AnyTable::HostId(const void* record) const {
  return static_cast<int>(std::get<std::int64_t>(schema_.host_id->get(record)));
}

}  // namespace qv::record
