/// A slave's entry beside a record: comparison and taking over.
#include <algorithm>
#include <optional>

#include "db/database.h"
#include "json/equal.h"
#include "json/storable.h"
#include "log/message.h"
#include "qvjson.h"
#include "record/fieldvalue.h"
#include "record/table.h"

namespace qv::record {
namespace {

/// Tells the operator why something that a slave sent does not show on the host. The value stays unsaid: it may be a
/// secret.
void LogRefusal(const std::string& table, int host_id, std::string_view member, const char* reason) {
  log::Warn("The reported \"{}\" does not fit {} [{}]: {}", member, table, host_id, reason);
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
  bool DifferFrom(std::string_view held) const {
    if (members_.empty() || (!text_.empty() && held == text_ + '}')) return false;
    const Json::Value stored = StoredIn(held);
    return stored.isObject() && std::any_of(members_.begin(), members_.end(), [&](const auto& member) {
             return Differs(stored, member.first, *member.second) &&
                    json::WhyMemberNotStorable(member.first, *member.second) == nullptr;
           });
  }

  /// `held` with them beside the members that were not reported this time, for which there is no more room than
  /// `kMostMerged` leaves; none: it stays as it is. Calls `refuse(key, reason)` for each that cannot be kept.
  template <class Refuse>
  std::optional<std::string> MergedInto(std::string_view held, Refuse&& refuse) const {
    if (members_.empty()) return std::nullopt;
    Json::Value merged = StoredIn(held);
    if (!merged.isObject()) return std::nullopt;
    Json::Value reported(Json::objectValue);
    for (const auto& [key, value] : members_) {
      const std::string name(key);
      if (value->isNull()) {
        merged.removeMember(name);
      } else if (const char* const reason = json::WhyMemberNotStorable(key, *value)) {
        refuse(key, reason);
      } else {
        merged[name] = reported[name] = *value;
      }
    }
    std::string text = merged.empty() ? "" : JsonWrite(merged, true);
    return text.size() > kMostMerged ? JsonWrite(reported, true) : text;
  }

 private:
  static Json::Value StoredIn(std::string_view held) {
    return held.empty() ? Json::Value(Json::objectValue) : ParseStored(held);
  }
  static bool Differs(const Json::Value& stored, std::string_view key, const Json::Value& value) {
    const Json::Value* found = stored.find(key.data(), key.data() + key.size());
    return found == nullptr ? !value.isNull() : !json::AreSame(*found, value);
  }

  std::string text_;  ///< those that are not null as JsonWrite gives them, without the closing brace
  std::vector<std::pair<std::string_view, const Json::Value*>> members_;
};

std::string_view TextOf(const Field& field, const void* record) {
  return std::get<std::string_view>(field.get(record));
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
  const bool same = schema_.Walk(
      entry,
      [&](const Field& field, const Json::Value& value) {
        if (IsKept(field, host_id)) return true;
        const Fit fit = CompareField(field, record, value);
        return fit == Fit::Same || (fit == Fit::Misfit && schema_.options.misfit == Misfit::KeepMember);
      },
      [&](std::string_view key, const Json::Value& value) {
        unknown.Add(key, value);
        return true;
      });
  return !same || (schema_.extra != nullptr && unknown.DifferFrom(TextOf(*schema_.extra, record)));
}

const Field* AnyTable::FindMisfit(const void* record, const Json::Value& entry) const {
  const int host_id = HostId(record);
  const Field* misfit = nullptr;
  schema_.Walk(
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
  if (schema_.options.misfit == Misfit::RefuseEntry) {
    if (const Field* misfit = FindMisfit(record, entry)) {
      LogRefusal(schema_.name, host_id, misfit->info.column, Consequence(schema_.options.misfit));
      return false;
    }
  }
  UnknownMembers unknown;
  schema_.Walk(
      entry,
      [&](const Field& field, const Json::Value& value) {
        if (!IsKept(field, host_id) && TakeField(field, record, value) == Fit::Misfit) {
          LogRefusal(schema_.name, host_id, field.info.column, Consequence(schema_.options.misfit));
        }
        return true;
      },
      [&](std::string_view key, const Json::Value& value) {
        unknown.Add(key, value);
        return true;
      });
  if (schema_.extra != nullptr) {
    const auto refuse = [&](std::string_view key, const char* reason) {
      LogRefusal(schema_.name, host_id, key, reason);
    };
    if (const auto merged = unknown.MergedInto(TextOf(*schema_.extra, record), refuse))
      schema_.extra->set(record, *merged);
  }
  return true;
}

}  // namespace qv::record
