/// Takes a slave's entry apart member by member.
#pragma once

#include <json/value.h>

#include <string>
#include <type_traits>

#include "json/storable.h"
#include "log/message.h"

namespace qv::analytics {

/// Every member that is read leaves the entry; what is left in the end has no field.
class EntryReader {
 public:
  /// @param entry  an object
  explicit EntryReader(const Json::Value& entry) : rest_(entry) {}

  /// Reads a member into `value` unless it is absent or null.
  template <class T>
  void Read(const char* name, T& value) {
    const Json::Value member = Take(name);
    if (member.isNull()) return;
    if constexpr (std::is_same_v<T, std::string>) {
      fits_ = fits_ && !member.isArray() && !member.isObject();
      if (fits_) value = member.asString();
    } else {
      fits_ = fits_ && member.isInt();
      if (fits_) value = static_cast<T>(member.asInt());
    }
  }
  Json::Value Take(const char* name) {
    Json::Value member;
    rest_.removeMember(name, &member);
    return member;
  }
  /// Whether every member that was read had a possible type.
  bool fits() const { return fits_; }
  /// The members that nobody read, without those that are null. One that cannot be stored is left out after a warning.
  Json::Value Rest() const {
    Json::Value rest(Json::objectValue);
    for (const std::string& name : rest_.getMemberNames()) {
      if (rest_[name].isNull()) continue;
      if (const char* const reason = json::WhyMemberNotStorable(name, rest_[name])) {
        log::Warn("The reported \"{}\" of a counting widget or group is left out: {}", name, reason);
      } else {
        rest[name] = rest_[name];
      }
    }
    return rest;
  }

 private:
  Json::Value rest_;
  bool fits_ = true;
};

}  // namespace qv::analytics
