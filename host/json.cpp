#include "qv/json.h"

#include <qvjson.h>

#include "text/escape.h"

namespace qv {

std::string JsonRows::Page(std::span<const Row> rows) {
  std::string text = started_ ? "" : "[";
  started_ = true;
  for (const Row& row : rows) {
    text += has_rows_ ? ",\n{" : "\n{";
    has_rows_ = true;
    for (const auto& [name, value] : row) {
      if (text.back() != '{') text += ',';
      text += JsonWrite(Json::Value(name), true) + ':' + JsonWrite(value, true);
    }
    text += '}';
  }
  return text::EscapeJson(text);
}

std::string JsonRows::End() const {
  if (!started_) return "[]\n";
  return has_rows_ ? "\n]\n" : "]\n";
}

std::vector<Row> RowsOf(const ImportResult& result) {
  std::vector<Row> rows;
  for (const KindChanges& kind : result.changes) {
    rows.push_back({{"kind", kind.kind},
                    {"added", kind.added},
                    {"updated", kind.updated},
                    {"removed", kind.removed},
                    {"unchanged", kind.unchanged ? Json::Value(Json::Int64{*kind.unchanged}) : Json::Value()}});
  }
  return rows;
}

std::vector<Row> RowsOf(const RemoveResult& result) {
  std::vector<Row> rows;
  for (const KindChanges& kind : result.changes) {
    if (kind.removed + kind.updated == 0) continue;
    rows.push_back({{"kind", kind.kind}, {"removed", kind.removed}, {"updated", kind.updated}});
  }
  return rows;
}

Row ConfiguringRow(std::string_view kind, int id, bool on) {
  return {{"kind", std::string(kind)}, {"id", id}, {"configuring", on}};
}

std::string ToJson(std::span<const Row> rows) {
  JsonRows json;
  const std::string text = json.Page(rows);
  return text + json.End();
}

std::string ToJson(const ImportResult& result) {
  std::vector<Row> rows = RowsOf(result);
  for (const auto& [place, reason] : result.unused) {
    rows.push_back({{"kind", "unused-entry"}, {"place", place}, {"reason", reason}});
  }
  for (const Refusal& refusal : result.refusals) {
    rows.push_back({{"kind", "refusal"}, {"code", std::string(NameOf(refusal.code()))}, {"reason", refusal.what()}});
  }
  return ToJson(rows);
}

std::string ToJson(const StatusResult& result) {
  Json::Value object(Json::objectValue);
  for (const auto& [name, value] : result.record) object[name] = value;
  for (const auto& [place, reason] : result.unused) object["unused_entries"][place] = reason;
  return ToJson(object, false) + '\n';
}

std::string ToJson(const RemoveResult& result) { return ToJson(RowsOf(result)); }

std::string ToJson(const Json::Value& value, bool compact) { return text::EscapeJson(JsonWrite(value, compact)); }

}  // namespace qv
