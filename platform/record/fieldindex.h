/// Finds the field that a key of a slave's entry belongs to. Both sides are sorted by the bytes of the key, so an
/// entry is walked beside the fields once, without a search per key.
#pragma once

#include <json/value.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "table.h"

namespace qv::record {

class FieldIndex {
 public:
  FieldIndex(const std::vector<Field>& fields, const std::vector<std::string_view>& own_keys);

  const Field& host_id() const { return *host_id_; }
  /// Null when the kind keeps no extra keys.
  const Field* extra() const { return extra_; }

  /// Calls `known(field, value)` for each member that has a field and `unknown(key, value)` for each member that has
  /// neither a field nor a place of its own, in order of the keys, until one returns false.
  template <class Known, class Unknown>
  bool Walk(const Json::Value& entry, Known&& known, Unknown&& unknown) const {
    auto slot = slots_.begin();
    const auto last = entry.end();
    for (auto member = entry.begin(); member != last; ++member) {
      const char* end = nullptr;
      const char* begin = member.memberName(&end);
      const std::string_view key(begin, static_cast<std::size_t>(end - begin));
      int order = 1;  // of the slot beside the key
      while (slot != slots_.end() && (order = slot->key.compare(key)) < 0) ++slot;
      if (slot == slots_.end() || order != 0) {
        if (!unknown(key, *member)) return false;
      } else if (slot->field != nullptr && !known(*slot->field, *member)) {
        return false;
      }
    }
    return true;
  }

 private:
  struct Slot {
    std::string_view key;
    const Field* field;  ///< null: the key is passed over
  };
  std::vector<Slot> slots_;  ///< sorted by key
  const Field* host_id_ = nullptr;
  const Field* extra_ = nullptr;
};

}  // namespace qv::record
