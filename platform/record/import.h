/// Taking over a section of a slave's document as a whole: every entry is matched with the row that has its id on the
/// slave.
#pragma once

#include <json/value.h>

#include <list>
#include <map>
#include <utility>

namespace qv::record {

/// The entry's "id" on its slave; 0 when it has none that fits an int.
inline int EntryId(const Json::Value& entry) {
  const Json::Value& id = entry.isObject() ? entry["id"] : Json::Value::nullSingleton();
  return id.isInt() ? id.asInt() : 0;
}

/// Hands each entry of `section` to `take(record, entry)`, with the row of `rows` that has its id on the slave, or
/// with a blank record when there is none (left); the owner is set to `zrId` beforehand. Several rows with one id are
/// used up in their order. In the end `rest(row)` is called for every row that no entry was handed with.
template <class Record, class Take, class Rest>
void ImportSection(std::list<Record> rows, int zrId, const Json::Value& section, Take&& take, Rest&& rest) {
  std::map<int, std::list<Record*>> by_id;
  for (Record& row : rows) by_id[row.GetIdOnRecServer()].push_back(&row);
  for (const Json::Value& entry : section) {
    Record blank;
    Record* record = &blank;
    if (const auto found = by_id.find(EntryId(entry)); found != by_id.end() && !found->second.empty()) {
      record = found->second.front();
      found->second.pop_front();
    }
    record->SetOwnerZrId(zrId);
    take(*record, entry);
  }
  for (const auto& [id, left] : by_id) {
    for (const Record* row : left) rest(*row);
  }
}

/// The same for an import that leaves rows which the section does not name alone: the next snapshot decides about them.
template <class Record, class Take>
void ImportSection(std::list<Record> rows, int zrId, const Json::Value& section, Take&& take) {
  ImportSection(std::move(rows), zrId, section, take, [](const Record&) {});
}

}  // namespace qv::record
