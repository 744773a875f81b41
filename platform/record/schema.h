/// What the table of one kind of record looks like: its fields and columns, the statements over them, and the field
/// that each key of a slave's entry belongs to.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "db/driver.h"
#include "record/where.h"
#include "taggedfield.h"

namespace qv::record {

enum class ValueType { Int, Bool, Float, Real, Text, Json };

/// The value of a field: an int or a bool, a floating-point number, or a text that the record holds.
using Value = std::variant<std::int64_t, double, std::string_view>;

/// One field of a kind, as the shared code sees it. The functions take a record of that kind.
struct Field {
  FieldInfo info;
  ValueType type;
  Value (*get)(const void* record);
  void (*set)(void* record, const Value& value);
};

/// What becomes of an entry with a member that its field cannot hold (a text where a number belongs).
enum class Misfit {
  RefuseEntry,  ///< nothing of the entry is taken
  KeepMember,   ///< the record keeps its value of that member, the others are taken
};

/// A row for a listing: names and values in the order of the field list, secrets left out.
using ListedRow = std::vector<std::pair<std::string, Json::Value>>;

struct TableOptions {
  /// Keys of an entry that have a place of their own (a list of doors): neither a field nor extra.
  std::vector<std::string_view> own_keys = {};
  Misfit misfit = Misfit::KeepMember;
  /// The host id is given by the caller (a server's id in the CMS), not by the database.
  bool caller_assigns_id = false;
  /// Further columns, integers that neither records nor listings have.
  std::vector<std::string> hidden_columns = {};
  /// Adds to the listed rows that `where` means what other tables hold about them.
  void (*complete_listing)(const Where& where, std::vector<ListedRow>& rows) = nullptr;
};

/// Some of a table's columns, in an order of their own.
struct Columns {
  std::string names;  ///< for a statement
  std::vector<const Field*> fields;
};

/// A statement that writes columns of one row.
struct Update {
  Columns set;
  std::string sql;
};

/// Parameters appear in ascending order in every statement, since drivers number them by first appearance.
struct Schema {
  Schema(const char* table_name, std::vector<Field> table_fields, TableOptions table_options);
  Schema(const Schema&) = delete;
  Schema& operator=(const Schema&) = delete;

  /// Columns by their names.
  Columns ColumnsOf(std::initializer_list<std::string_view> names) const;
  /// Writes the written columns but these.
  Update UpdateBut(std::initializer_list<std::string_view> names) const;
  /// The columns as the database must have them.
  db::Columns ColumnDefinitions() const;

  /// Calls `known(field, value)` for each member of `entry`, an object, that has a field and `unknown(key, value)` for
  /// each member that has neither a field nor a place of its own, in order of the keys, until one returns false.
  template <class Known, class Unknown>
  bool Walk(const Json::Value& entry, Known&& known, Unknown&& unknown) const {
    // Both sides are sorted by the bytes of the key: one pass, without a search per key.
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

  const std::string name;
  const std::vector<Field> fields;
  const TableOptions options;

  const Field* host_id = nullptr;
  const Field* extra = nullptr;  ///< null: the kind keeps no extra keys
  const Field* owner = nullptr;  ///< the first, of a kind that has several; null when it may be NULL

  Columns all;          ///< in order of the fields
  Columns written;      ///< all but the id
  Columns of_an_owner;  ///< all but the id and the owner

  std::string insert;  ///< of the written columns; returns the id
  std::string insert_with_id;
  std::string insert_if_missing;  ///< the same, unless there is a row of that id
  /// Sets the written columns where one differs; the id comes last.
  std::string update;
  /// The same for a row that stays with its owner: all but the owner, then the owner and the id. Most rows stay, and
  /// this leaves the owner's index alone. Empty for a kind without owners.
  std::string update_of_owner;
  std::string select_owner;

 private:
  struct Slot {
    std::string_view key;
    const Field* field;  ///< null: the key is passed over
  };
  void FillSlots();

  std::vector<Slot> slots_;  ///< sorted by key
};

}  // namespace qv::record
