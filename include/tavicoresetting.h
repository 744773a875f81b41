/// What IVA tasks and face tasks have in common.
#pragma once

#include <json/value.h>

/// Implementations in other libraries count on the order of the virtual functions.
class ITaviCoreSetting {
 public:
  virtual ~ITaviCoreSetting() = default;
  /// The record under the names of its columns.
  /// @param columnsOnly  leave out what the slave reported beside the columns. Otherwise the result equals, as
  ///                     `QVJson::CheckEqual` has it, the JSON that the record was written from
  virtual Json::Value ToJson(bool columnsOnly) const = 0;
  /// The record's id on the host; 0 for one that is not stored.
  virtual int GetId() const = 0;

 protected:
  ITaviCoreSetting() = default;
  ITaviCoreSetting(const ITaviCoreSetting&) = default;
  ITaviCoreSetting& operator=(const ITaviCoreSetting&) = default;
};
