#include "analytics/columns.h"

#include <algorithm>

#include "json/storable.h"
#include "qvjson.h"
#include "record/fieldvalue.h"

namespace qv::analytics {
namespace {

/// Whether a slave's value is worth keeping beside a column that could not take it. Ids are the host's own.
bool IsReported(const record::Field& field) {
  return field.info.role == FieldRole::Config && field.info.references == nullptr;
}

bool IsColumn(const record::Schema& schema, const std::string& name) {
  return std::any_of(schema.fields.begin(), schema.fields.end(),
                     [&](const record::Field& field) { return &field != schema.extra && name == field.info.column; });
}

}  // namespace

void TakeJson(const record::Schema& schema, Members members, const Json::Value& json) {
  Json::Value beside = json;
  auto member = members.begin();
  for (const record::Field& field : schema.fields) {
    DBMember& column = **member++;
    if (&field == schema.extra) continue;
    const char* const name = field.info.column;
    const Json::Value& value = json[name];
    column.SetByJson(value);
    // The contract's columns hold C strings: a text ends at a NUL.
    if (field.type == record::ValueType::Text) column.SetByJson(column.ToJson().asCString());
    if (IsReported(field) && !QVJson::CheckEqual(column.ToJson(), value)) {
      beside[name] = value;  // an absent one as null, so that the column's default is not taken for a report
    } else {
      beside.removeMember(name);
    }
  }
  for (const std::string& name : json.getMemberNames()) {
    if (json[name].isNull() && !IsColumn(schema, name)) beside.removeMember(name);
  }
  if (const char* const reason = json::WhyNotStorable(beside)) throw db::Error(db::Error::Kind::Statement, reason);
  members[static_cast<std::size_t>(schema.extra - schema.fields.data())]->SetByJson(
      beside.empty() ? Json::Value() : Json::Value(JsonWrite(beside, true)));
}

Json::Value ToJson(const record::Schema& schema, Members members, bool columns_only) {
  Json::Value json(Json::objectValue);
  Json::Value beside;
  auto member = members.begin();
  for (const record::Field& field : schema.fields) {
    Json::Value value = (*member++)->ToJson();
    if (&field != schema.extra) {
      json[field.info.column] = std::move(value);
    } else if (!columns_only) {
      beside = record::ParseStored(value.asString());
    }
  }
  if (!beside.isObject()) return json;
  for (const std::string& name : beside.getMemberNames()) {
    if (beside[name].isNull()) {
      json.removeMember(name);
    } else {
      json[name] = beside[name];
    }
  }
  return json;
}

void Delete(const record::AnyTable& table, const record::Where& where, bool must_exist) {
  if (!must_exist) return table.DeleteLater(where);
  if (table.DeleteWhere(where) == 0) {
    throw db::Error(db::Error::Kind::Statement, "there is no such row");
  }
}

}  // namespace qv::analytics
