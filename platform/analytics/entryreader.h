/// Takes a slave's entry apart member by member.
#pragma once

#include <json/value.h>

#include <string>
#include <type_traits>

namespace qv::analytics {

/// An object's members that hold a value.
inline Json::Value WithoutNulls(Json::Value object) {
  for (const std::string& name : object.getMemberNames()) {
    if (object[name].isNull()) object.removeMember(name);
  }
  return object;
}

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
  /// The members that nobody read, without those that are null.
  Json::Value Rest() const { return WithoutNulls(rest_); }

 private:
  Json::Value rest_;
  bool fits_ = true;
};

}  // namespace qv::analytics
