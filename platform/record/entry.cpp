/// A slave's entry beside a record: comparison, taking over, and the way back to JSON.
#include "../db/database.h"
#include "../json/equal.h"
#include "../log/message.h"
#include "fieldindex.h"
#include "fieldvalue.h"
#include "qvjson.h"
#include "table.h"

namespace qv::record {
namespace {

/// Reported members without a field, collected while an entry is walked.
class UnknownMembers {
 public:
  /// Some hundred times what a device reports. A slave that made up new keys for ever would fill the host otherwise.
  static constexpr std::size_t kMostMerged = std::size_t{1024} * 1024;

  void Add(std::string_view key, const Json::Value& value) {
    if (value.isNull()) return;
    text_ +=
        (text_.empty() ? '{' : ',') + JsonWrite(Json::Value(std::string(key)), true) + ':' + JsonWrite(value, true);
    members_.emplace_back(key, &value);
  }

  /// Whether `held` lacks any of them or holds another value. A text that cannot be read is left as it is: what it
  /// holds is lost for good once it is written over.
  bool DifferFrom(const JsonText& held) const {
    if (members_.empty() || held.text == text_ + '}') return false;
    if (held.text.empty()) return true;
    const Json::Value stored = ParseStored(held.text);
    if (!stored.isObject()) return false;
    for (const auto& [key, value] : members_) {
      const Json::Value* found = stored.find(key.data(), key.data() + key.size());
      if (found == nullptr || !json::AreSame(*found, *value)) return true;
    }
    return false;
  }

  /// Puts them into `held` beside the members that were not reported this time, for which there is no more room than
  /// `kMostMerged` leaves.
  void MergeInto(JsonText& held) const {
    std::string merged;
    if (!held.text.empty() && text_.size() <= kMostMerged) {
      Json::Value stored = ParseStored(held.text);
      for (const auto& [key, value] : members_) stored[std::string(key)] = *value;
      merged = JsonWrite(stored, true);
    }
    held.text = merged.empty() || merged.size() > kMostMerged ? text_ + '}' : std::move(merged);
  }

 private:
  std::string text_;  ///< as JsonWrite gives them, without the closing brace
  std::vector<std::pair<std::string_view, const Json::Value*>> members_;
};

const JsonText& ExtraOf(const Field& extra, const void* record) {
  return *static_cast<const JsonText*>(extra.at(const_cast<void*>(record)));
}

/// Tells the operator why something that a slave sent does not show on the host. The value stays unsaid: it may be a
/// secret.
void LogMisfit(const std::string& table, int host_id, const Field& field, Misfit misfit) {
  if (misfit == Misfit::RefuseEntry) {
    log::Warn("The reported \"{}\" does not fit {} [{}]: the entry is refused", field.info.column, table, host_id);
  } else {
    log::Warn("The reported \"{}\" does not fit {} [{}]: the value is kept as it was", field.info.column, table,
              host_id);
  }
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
      LogMisfit(name_, host_id, *misfit, options_.misfit);
      return false;
    }
  }
  UnknownMembers unknown;
  index_->Walk(
      entry,
      [&](const Field& field, const Json::Value& value) {
        if (!IsKept(field, host_id) && TakeField(field, record, value) == Fit::Misfit) {
          LogMisfit(name_, host_id, field, options_.misfit);
        }
        return true;
      },
      [&](std::string_view key, const Json::Value& value) {
        unknown.Add(key, value);
        return true;
      });
  if (const Field* extra = index_->extra(); extra != nullptr && unknown.DifferFrom(ExtraOf(*extra, record))) {
    unknown.MergeInto(*static_cast<JsonText*>(extra->at(record)));
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
