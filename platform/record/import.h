/// Taking over a section of a slave's document as a whole: every entry is matched with the row that has its id on the
/// slave.
#pragma once

#include <json/value.h>

#include <list>
#include <map>
#include <optional>
#include <utility>

namespace qv::record {

/// A device's "id" on its slave, read as the snapshots' steps read it: 0 when it is absent, a fraction cut off, a bool
/// as 0 or 1. None when the entry is no object.
/// @throws Json::Exception when the id is of another kind or does not fit an int
inline std::optional<int> DeviceId(const Json::Value& entry) {
  if (!entry.isObject()) return std::nullopt;
  return entry["id"].asInt();
}

/// The member of an object, 0 when it is no int.
inline int IntOrZero(const Json::Value& object, const char* key) {
  const Json::Value& value = object.isObject() ? object[key] : Json::Value::nullSingleton();
  return value.isInt() ? value.asInt() : 0;
}

/// The "id" of an entry that needs none.
inline int IntIdOrZero(const Json::Value& entry) { return IntOrZero(entry, "id"); }

/// Hands each entry of `section` to `take(record, entry)`, with the row of `rows` that has its id on the slave, or
/// with a blank record when there is none (left); the owner is set to `zrId` beforehand. Several rows with one id are
/// used up in their order. In the end `rest(row)` is called for every row that no entry was handed with.
/// @param id_of  gives an entry's id; an entry without one is passed over
template <class Record, class IdOf, class Take, class Rest>
void ImportSection(std::list<Record> rows, int zrId, const Json::Value& section, IdOf&& id_of, Take&& take,
                   Rest&& rest) {
  std::map<int, std::list<Record*>> by_id;
  for (Record& row : rows) by_id[row.GetIdOnRecServer()].push_back(&row);
  for (const Json::Value& entry : section) {
    const std::optional<int> id = id_of(entry);
    if (!id) continue;
    Record blank;
    Record* record = &blank;
    if (const auto found = by_id.find(*id); found != by_id.end() && !found->second.empty()) {
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

/// The same for devices. Rows which the section does not name are left alone: the next snapshot decides about them.
template <class Record, class Take>
void ImportSection(std::list<Record> rows, int zrId, const Json::Value& section, Take&& take) {
  ImportSection(std::move(rows), zrId, section, DeviceId, take, [](const Record&) {});
}

}  // namespace qv::record
