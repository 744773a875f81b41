/// The fields of a record, from the list that declares it: tagged (taggedfield.h) or as typed columns (dbwrapper.h).
#pragma once

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "dbwrapper.h"
#include "ftos.h"
#include "record/schema.h"
#include "taggedfield.h"

namespace qv::record {

template <class T>
constexpr ValueType ValueTypeOf(FieldRole role) {
  if constexpr (std::is_same_v<T, bool>) return ValueType::Bool;
  if constexpr (std::is_same_v<T, float>) return ValueType::Float;
  if constexpr (std::is_same_v<T, double>) return ValueType::Real;
  if constexpr (std::is_same_v<T, JsonText>) return ValueType::Json;
  if constexpr (std::is_same_v<T, std::string>) return role == FieldRole::Extra ? ValueType::Json : ValueType::Text;
  return ValueType::Int;
}

template <class T>
Value ValueOf(const T& held) {
  if constexpr (std::is_floating_point_v<T>) {
    return static_cast<double>(held);
  } else if constexpr (std::is_same_v<T, std::string>) {
    return std::string_view(held);
  } else if constexpr (std::is_same_v<T, JsonText>) {
    return std::string_view(held.text);
  } else {
    return static_cast<std::int64_t>(held);
  }
}

template <class T>
void Assign(T& held, const Value& value) {
  if constexpr (std::is_same_v<T, float>) {
    held = NarrowToFloat(std::get<double>(value));
  } else if constexpr (std::is_same_v<T, double>) {
    held = std::get<double>(value);
  } else if constexpr (std::is_same_v<T, std::string>) {
    held = std::get<std::string_view>(value);
  } else if constexpr (std::is_same_v<T, JsonText>) {
    held.text = std::get<std::string_view>(value);
  } else if constexpr (std::is_same_v<T, bool>) {
    held = std::get<std::int64_t>(value) != 0;
  } else if constexpr (std::is_same_v<T, std::int64_t>) {
    held = std::get<std::int64_t>(value);
  } else {
    held = static_cast<T>(static_cast<int>(std::get<std::int64_t>(value)));
  }
}

/// Reaches the values of tagged fields.
struct Access {
  template <class Record, class Fields, int TAG>
  static Field FieldOf() {
    using Tagged = TaggedField<Fields, TAG>;
    return {.info = Tagged::kInfo,
            .type = ValueTypeOf<decltype(Tagged::value_)>(Tagged::kInfo.role),
            .get = [](const void* record) -> Value {
              const Tagged& field = *static_cast<const Record*>(record);
              return ValueOf(field.value_);
            },
            .set =
                [](void* record, const Value& value) {
                  Tagged& field = *static_cast<Record*>(record);
                  Assign(field.value_, value);
                }};
  }
};

/// The argument, a null pointer to a `Record`, tells which of the two lists declares it.
template <class Record, class Fields, int... TAGS>
std::vector<Field> FieldsOf(const TaggedRecord<Fields, std::integer_sequence<int, TAGS...>>* /*kind*/) {
  return {Access::FieldOf<Record, Fields, TAGS>()...};
}

template <class Record, class COLUMNS>
std::vector<Field> FieldsOf(const DBWrapper<COLUMNS>* /*kind*/) {
  std::vector<Field> fields;
  DBColumnMembers<COLUMNS>::ForEachColumn([&]<auto MEMBER>(const DBColumn& column) {
    using T = std::decay_t<decltype((std::declval<Record>().Data().*MEMBER).Get())>;
    fields.push_back({.info = column.info,
                      .type = ValueTypeOf<T>(column.info.role),
                      .get = [](const void* record) -> Value {
                        return ValueOf((static_cast<const Record*>(record)->Data().*MEMBER).Get());
                      },
                      .set =
                          [](void* record, const Value& value) {
                            T held{};
                            Assign(held, value);
                            (static_cast<Record*>(record)->Data().*MEMBER).Set(std::move(held));
                          }});
  });
  return fields;
}

}  // namespace qv::record
