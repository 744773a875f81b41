#include "fieldindex.h"

namespace qv::record {

FieldIndex::FieldIndex(const std::vector<Field>& fields, const std::vector<std::string_view>& own_keys) {
  for (const std::string_view key : own_keys) slots_.push_back({key, nullptr});
  for (const Field& field : fields) {
    const std::string_view column = field.info.column;
    switch (field.info.role) {
      case FieldRole::HostId:
        host_id_ = &field;
        break;
      case FieldRole::Extra:
        extra_ = &field;
        slots_.push_back({column, nullptr});
        break;
      case FieldRole::Owner:
      case FieldRole::HostOnly:
      case FieldRole::Unlisted:
        slots_.push_back({column, nullptr});
        break;
      case FieldRole::IdOnSlave:
        slots_.push_back({field.info.json_key != nullptr ? field.info.json_key : "id", &field});
        slots_.push_back({column, nullptr});
        break;
      case FieldRole::Config:
      case FieldRole::Secret:
      case FieldRole::Status:
        slots_.push_back({field.info.json_key != nullptr ? field.info.json_key : column, &field});
        break;
    }
  }
  std::stable_sort(slots_.begin(), slots_.end(), [](const Slot& a, const Slot& b) { return a.key < b.key; });
}

}  // namespace qv::record
