/// A slave's entry beside a record: comparison, taking over, and the way back to JSON.
#include <algorithm>

#include "../db/database.h"
#include "../json/equal.h"
#include "../json/storable.h"
#include "../log/message.h"
#include "fieldindex.h"
#include "fieldvalue.h"
#include "qvjson.h"
#include "table.h"

namespace qv::record {
namespace {

/// Tells the operator why something that a slave sent does not show on the host. The value stays unsaid: it may be a
/// secret.
void LogRefusal(const std::string& table, int host_id, std::string_view member, const char* reason) {
  log::Warn("The reported \"{}\" does not fit {} [{}]: {}", member, table, host_id, reason);
}

/// Why a member cannot be kept among the others that have no field; null: it can.
const char* WhyNotStorable(std::string_view key, const Json::Value& value) {
  if (const char* const reason = json::WhyNotStorable(Json::Value(std::string(key)))) return reason;
  if (!value.isArray() && !value.isObject()) return json::WhyNotStorable(value);
  Json::Value level(Json::arrayValue);  // as deep as among the others
  level.append(value);
  return json::WhyNotStorable(level);
}

/// Reported members without a field, collected while an entry is walked. One that is null is to be forgotten.
class UnknownMembers {
 public:
  /// Some hundred times what a device reports. A slave that made up new keys for ever would fill the host otherwise.
  static constexpr std::size_t kMostMerged = std::size_t{1024} * 1024;

  void Add(std::string_view key, const Json::Value& value) {
    if (!value.isNull()) {
      text_ +=
          (text_.empty() ? '{' : ',') + JsonWrite(Json::Value(std::string(key)), true) + ':' + JsonWrite(value, true);
    }
    members_.emplace_back(key, &value);
  }

  /// Whether `held` lacks any of them or holds another value. A text that cannot be read is left as it is: what it
  /// holds is lost for good once it is written over.
  bool DifferFrom(const JsonText& held) const {
    if (members_.empty() || (!text_.empty() && held.text == text_ + '}')) return false;
    const Json::Value stored = StoredIn(held);
    return stored.isObject() && std::any_of(members_.begin(), members_.end(), [&](const auto& member) {
             return Differs(stored, member.first, *member.second) &&
                    WhyNotStorable(member.first, *member.second) == nullptr;
           });
  }

  /// Puts them into `held` beside the members that were not reported this time, for which there is no more room than
  /// `kMostMerged` leaves. Calls `refuse(key, reason)` for each that cannot be kept.
  template <class Refuse>
  void MergeInto(JsonText& held, Refuse&& refuse) const {
    if (members_.empty()) return;
    Json::Value merged = StoredIn(held);
    if (!merged.isObject()) return;
    Json::Value reported(Json::objectValue);
    for (const auto& [key, value] : members_) {
      const std::string name(key);
      if (value->isNull()) {
        merged.removeMember(name);
      } else if (const char* const reason = WhyNotStorable(key, *value)) {
        refuse(key, reason);
      } else {
        merged[name] = reported[name] = *value;
      }
    }
    held.text = merged.empty() ? "" : JsonWrite(merged, true);
    if (held.text.size() > kMostMerged) held.text = JsonWrite(reported, true);
  }

 private:
  static Json::Value StoredIn(const JsonText& held) {
    return held.text.empty() ? Json::Value(Json::objectValue) : ParseStored(held.text);
  }
  static bool Differs(const Json::Value& stored, std::string_view key, const Json::Value& value) {
    const Json::Value* found = stored.find(key.data(), key.data() + key.size());
    return found == nullptr ? !value.isNull() : !json::AreSame(*found, value);
  }

  std::string text_;  ///< those that are not null as JsonWrite gives them, without the closing brace
  std::vector<std::pair<std::string_view, const Json::Value*>> members_;
};

const JsonText& ExtraOf(const Field& extra, const void* record) {
  return *static_cast<const JsonText*>(extra.at(const_cast<void*>(record)));
}

const char* Consequence(Misfit misfit) {
  return misfit == Misfit::RefuseEntry ? "the entry is refused" : "the value is kept as it was";
}

/// State belongs to the status reports once the row exists.
bool IsKept(const Field& field, int host_id) { return field.info.role == FieldRole::Status && host_id != 0; }

}  // namespace

bool AnyTable::Differs(const void* record, const Json::Value& entry) const {
  if (!entry.isObject()) return false;
  const int host_id = HostId(record);
  UnknownMembers unknown;
  const bool same = index_->Walk(
      entry,
      [&](const Field& field, const Json::Value& value) {
        if (IsKept(field, host_id)) return true;
        const Fit fit = CompareField(field, record, value);
        return fit == Fit::Same || (fit == Fit::Misfit && options_.misfit == Misfit::KeepMember);
      },
      [&](std::string_view key, const Json::Value& value) {
        unknown.Add(key, value);
        return true;
      });
  return !same || (index_->extra() != nullptr && unknown.DifferFrom(ExtraOf(*index_->extra(), record)));
}

const Field* AnyTable::FindMisfit(const void* record, const Json::Value& entry) const {
  const int host_id = HostId(record);
  const Field* misfit = nullptr;
  index_->Walk(
      entry,
      [&](const Field& field, const Json::Value& value) {
        if (!IsKept(field, host_id) && CompareField(field, record, value) == Fit::Misfit) misfit = &field;
        return misfit == nullptr;
      },
      [](std::string_view, const Json::Value&) { return true; });
  return misfit;
}

bool AnyTable::Apply(void* record, const Json::Value& entry) const {
  if (!entry.isObject()) return false;
  const int host_id = HostId(record);
  if (options_.misfit == Misfit::RefuseEntry) {
    if (const Field* misfit = FindMisfit(record, entry)) {
      LogRefusal(name_, host_id, misfit->info.column, Consequence(options_.misfit));
      return false;
    }
  }
  UnknownMembers unknown;
  index_->Walk(
      entry,
      [&](const Field& field, const Json::Value& value) {
        if (!IsKept(field, host_id) && TakeField(field, record, value) == Fit::Misfit) {
          LogRefusal(name_, host_id, field.info.column, Consequence(options_.misfit));
        }
        return true;
      },
      [&](std::string_view key, const Json::Value& value) {
        unknown.Add(key, value);
        return true;
      });
  if (const Field* extra = index_->extra()) {
    unknown.MergeInto(*static_cast<JsonText*>(extra->at(record)),
                      [&](std::string_view key, const char* reason) { LogRefusal(name_, host_id, key, reason); });
  }
  return true;
}

Json::Value AnyTable::RecordToJson(const void* record) const {
  Json::Value json(Json::objectValue);
  for (const Field& field : fields_) {
    if (field.info.role == FieldRole::Secret) continue;
    Json::Value value = FieldAsJson(field, record);
    if (field.info.role != FieldRole::Extra) {
      json[field.info.column] = std::move(value);
    } else if (value.isObject()) {
      for (const std::string& key : value.getMemberNames()) json[key] = std::move(value[key]);
    }
  }
  return json;
}

}  // namespace qv::record
