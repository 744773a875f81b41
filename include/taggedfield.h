/// Tagged records: every stored field of a record is declared once, as one row of a list, and its accessors, its
/// column, its JSON key and its part in comparison follow from that row.
///
/// A kind declares its fields as one list, from which the tags, the fields and their number follow:
///
///     #define DOOR_FIELDS(FIELD)     (every line but the last ends in a backslash)
///       FIELD(DoorData, int, Id, "id", HostId)
///       FIELD(DoorData, std::string, Name, "name", Config)
///     QV_DECLARE_FIELDS(DoorData, DOOR_FIELDS)
///     class Door : public TaggedRecord<DoorData::Fields> { ... };
///
/// `Door` then has `GetId`, `SetId`, `GetName`, `SetName`; `TaggedField<DoorData::Fields, DoorData::Id>::GetId` names
/// the accessor of one field. Options may follow the role: `.references = "camera"`, `.json_key = "door_name"`.
#pragma once

#include <string>
#include <type_traits>
#include <utility>

/// The part that a field plays in its record.
enum class FieldRole {
  HostId,     ///< the row's id on the host, assigned by the database
  Owner,      ///< id of the server that the row was copied from; never taken from JSON
  IdOnSlave,  ///< the row's id on that server; JSON key "id" unless the row says otherwise
  Config,     ///< configuration that the slave reports: applied, compared
  Secret,     ///< as Config, but never shown or logged
  Status,     ///< state: taken from JSON for a new row only, then kept by the status reports
  HostOnly,   ///< the host's own; never taken from JSON
  Unlisted,   ///< as HostOnly, but too long for a listing
  Extra,      ///< reported keys that the record has no field for, as one JSON object; applied, compared. A key that is
              ///< not reported stays, one that is null is removed (docs/slave-documents.md)
};

/// Whether a listing shows fields of this role.
constexpr bool IsListed(FieldRole role) { return role != FieldRole::Secret && role != FieldRole::Unlisted; }

/// What happens to a row whose referenced row is deleted.
enum class OnDelete { Cascade, SetNull };

/// A JSON value kept as text, exactly as `JsonWrite(value, true)` gives it; empty: none.
struct JsonText {
  std::string text;
  bool operator==(const JsonText&) const = default;
};

/// One row of a field list.
struct FieldInfo {
  const char* column;
  FieldRole role;
  const char* json_key = nullptr;    ///< key in a slave's JSON; null: the column's name
  const char* references = nullptr;  ///< table whose id an int field holds; 0 means none (SQL NULL)
  OnDelete on_delete = OnDelete::Cascade;
  int default_int = 0;  ///< initial value of an int or bool field
};

template <class Fields, int TAG>
class TaggedField;

namespace qv::record {

struct Access;  // reads and writes the value of a field for the record library

/// The initial value of a field.
template <class T>
constexpr T InitialValue(const FieldInfo& info) {
  if constexpr (std::is_same_v<T, int> || std::is_same_v<T, bool>) {
    return static_cast<T>(info.default_int);
  } else {
    return T{};
  }
}

}  // namespace qv::record

#define QV_FIELD_TAG(DATA, TYPE, NAME, ...) NAME,

/// Declares a field of `DATA`: its storage and its two accessors.
#define QV_TAGGED_FIELD(DATA, TYPE, NAME, COLUMN, ROLE, ...)                                                \
  template <>                                                                                               \
  class TaggedField<DATA::Fields, DATA::NAME> {                                                             \
   public:                                                                                                  \
    static constexpr FieldInfo kInfo{.column = COLUMN, .role = FieldRole::ROLE __VA_OPT__(, ) __VA_ARGS__}; \
    const TYPE& Get##NAME() const { return value_; }                                                        \
    void Set##NAME(TYPE value) { value_ = std::move(value); }                                               \
                                                                                                            \
   private:                                                                                                 \
    friend struct qv::record::Access;                                                                       \
    TYPE value_ = qv::record::InitialValue<TYPE>(kInfo);                                                    \
  };

/// Declares `DATA`, with the tags of the fields in the order of the list, and the fields.
#define QV_DECLARE_FIELDS(DATA, LIST)                     \
  struct DATA {                                           \
    enum Fields : int { LIST(QV_FIELD_TAG) FIELD_COUNT }; \
  };                                                      \
  LIST(QV_TAGGED_FIELD)

/// A record made of the fields 0 to `Fields::FIELD_COUNT` - 1. One of which not all has been read is a part: it is not
/// saved, since that would write blanks over the rest.
template <class Fields, class Tags = std::make_integer_sequence<int, Fields::FIELD_COUNT>>
class TaggedRecord;

template <class Fields, int... TAGS>
class TaggedRecord<Fields, std::integer_sequence<int, TAGS...>> : public TaggedField<Fields, TAGS>... {
 public:
  bool IsPart() const { return is_part_; }
  void MarkAsPart() { is_part_ = true; }

 private:
  bool is_part_ = false;
};
