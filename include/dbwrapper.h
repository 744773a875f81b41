/// Records whose columns are typed members (dbmember.h). Columns are declared once, as one list, from which the
/// enumeration of the columns, their members, their names and the table follow:
///
///     #define DOOR_COLUMNS(COLUMN)       (every line but the last ends in a backslash)
///       COLUMN(DOOR_ID, int, id, HostId)
///       COLUMN(DOOR_CTRLER_ID, int, ctrler_id, Config, .references = "ctrler")
///       COLUMN(DOOR_NAME, std::string, name, Config)
///     DB_DECLARE_COLUMNS(DOOR_DB_COLUMNS, DOOR_COLUMNS)
///     class Door : public DBWrapper<DOOR_DB_COLUMNS> { ... };
///
/// The column's name is its SQL name, its key in JSON and the name of its member: `door.Data().name.Get()`. Options as
/// for a tagged field (taggedfield.h) may follow the role.
#pragma once

#include <array>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <type_traits>

#include "dbglog.h"
#include "dbmember.h"
#include "taggedfield.h"

/// What a column's SQL type follows from.
enum class DBColumnKind { Integer, Boolean, Real, Text };

template <class T>
constexpr DBColumnKind DBColumnKindOf() {
  if constexpr (std::is_same_v<T, std::string>) return DBColumnKind::Text;
  if constexpr (std::is_same_v<T, float>) return DBColumnKind::Real;
  if constexpr (std::is_same_v<T, bool>) return DBColumnKind::Boolean;
  return DBColumnKind::Integer;
}

struct DBColumn {
  FieldInfo info;
  DBColumnKind kind;
};

/// The members of a column set, in order of the columns; made by `DB_DECLARE_COLUMNS`.
template <class COLUMNS>
struct DBColumnMembers;

#define DB_COLUMN_ENUMERATOR(ENUMERATOR, TYPE, NAME, ROLE, ...) ENUMERATOR,
#define DB_COLUMN_COUNT(ENUMERATOR, TYPE, NAME, ROLE, ...) +1
#define DB_COLUMN_MEMBER(ENUMERATOR, TYPE, NAME, ROLE, ...) DBPrimitiveMember<TYPE> NAME;
#define DB_COLUMN_ADDRESS(ENUMERATOR, TYPE, NAME, ROLE, ...) table[ENUMERATOR] = &NAME;
#define DB_COLUMN_VISIT(ENUMERATOR, TYPE, NAME, ROLE, ...) \
  visit.template operator()<&DBColumnMembers::NAME>(kColumns[ENUMERATOR]);
#define DB_COLUMN_INFO(ENUMERATOR, TYPE, NAME, ROLE, ...) \
  DBColumn{{.column = #NAME, .role = FieldRole::ROLE __VA_OPT__(, ) __VA_ARGS__}, DBColumnKindOf<TYPE>()},

#define DB_DECLARE_COLUMNS(COLUMNS, LIST)                                            \
  enum COLUMNS : int { LIST(DB_COLUMN_ENUMERATOR) };                                 \
  template <>                                                                        \
  struct DBColumnMembers<COLUMNS> {                                                  \
    static constexpr std::size_t kCount = LIST(DB_COLUMN_COUNT);                     \
    static constexpr DBColumn kColumns[] = {LIST(DB_COLUMN_INFO)};                   \
    LIST(DB_COLUMN_MEMBER)                                                           \
    /* Enters the address of every member at its column's place. */                  \
    void FillTable(std::array<DBMember*, kCount>& table) { LIST(DB_COLUMN_ADDRESS) } \
    /* Calls `visit.operator()<MEMBER>(column)` for every column. */                 \
    template <class Visit>                                                           \
    static void ForEachColumn(Visit&& visit) {                                       \
      LIST(DB_COLUMN_VISIT)                                                          \
    }                                                                                \
  };

/// Whether a column set has `count` columns, texts at `text_positions` alone. Other libraries reach the members of a
/// record by place, where a text takes more room than the others: every set asserts what it promised.
template <class COLUMNS>
consteval bool DBColumnsStand(std::size_t count, std::initializer_list<std::size_t> text_positions) {
  std::size_t position = 0;
  const std::size_t* next_text = text_positions.begin();
  for (const DBColumn& column : DBColumnMembers<COLUMNS>::kColumns) {
    const bool is_promised = next_text != text_positions.end() && *next_text == position;
    if (is_promised != (column.kind == DBColumnKind::Text)) return false;
    if (is_promised) ++next_text;
    ++position;
  }
  return position == count && next_text == text_positions.end();
}

/// The columns of one record: its members, and a table of them by column.
template <class COLUMNS>
class DBWrapperData : public DBColumnMembers<COLUMNS> {
  using Members = DBColumnMembers<COLUMNS>;

 public:
  using Table = std::array<DBMember*, Members::kCount>;

  DBWrapperData() { this->FillTable(table_); }
  DBWrapperData(const DBWrapperData& other) : Members(other) { this->FillTable(table_); }
  DBWrapperData& operator=(const DBWrapperData& other) {
    Members::operator=(other);  // the table keeps pointing at this record's members
    return *this;
  }

  const Table& table() const { return table_; }

 private:
  Table table_{};
};

/// The base of a record. Implementations in other libraries count on the order of its virtual functions.
template <class COLUMNS>
class DBWrapper {
 public:
  virtual ~DBWrapper() = default;
  /// Whether the record may be written: it names the row that it belongs to, without which nothing would ever delete
  /// it.
  virtual bool IsStorable() const = 0;
  /// Whether a database command that fails for this record is reported in the log.
  virtual bool ShouldLogOnError() const { return true; }

  DBWrapperData<COLUMNS>& Data() { return data_; }
  const DBWrapperData<COLUMNS>& Data() const { return data_; }

  /// The SQL table; defined with the record class.
  static const char m_szTableName[];

 protected:
  /// Reports a column without a member. Using that column is undefined; the others work.
  DBWrapper() {
    for (const DBMember* member : data_.table()) {
      if (member != nullptr) continue;
      QVPrintf(LOG_TYPE_DIAGNOSTIC, nullptr, nullptr, "include/dbwrapper", 90, "DBWrapper",
               "Data member of db wrapper table [%s] is not correctly initialized\n", m_szTableName);
    }
  }
  DBWrapper(const DBWrapper&) = default;
  DBWrapper& operator=(const DBWrapper&) = default;

 private:
  DBWrapperData<COLUMNS> data_;
};
