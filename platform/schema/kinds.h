/// The kinds of rows that the host holds: one line each in kinds.cpp, and all that code outside of a kind's own files
/// must know about it. The schema, the removal of a server, the checks of documents, listings, and what counts changes
/// read it; docs/adding-a-kind.md tells how a kind is added.
#pragma once

#include <json/value.h>

#include <span>
#include <string_view>
#include <vector>

#include "record/table.h"

namespace qv::schema {

/// What a kind's rows are to an import.
enum class Role {
  Device,    ///< equipment: losing many at once is guarded against
  Settings,  ///< comes and goes with the document or its devices
  Outbox,    ///< messages: a consequence of changes, not a change
};

/// The call that deletes a server's rows (include/slavedata.h).
enum class Removal {
  None,
  Cameras,
  IOModules,
  PosTerminals,
  Speakers,
  Controllers,
  RecShares,
  EmapItems,
  LayoutItems,
  PrivilegeProfiles,
  CameraMigrations,
  CameraGroups,
  EventMounts,
  EventExports,
  DoorLayoutItems,
};

/// A member of a document or of an entry, and the type that the host needs.
struct Member {
  const char* name;
  Json::ValueType type;
};

/// A list at the top of a document.
struct Section {
  const char* name = nullptr;
  bool in_reports = false;                   ///< in status reports too
  std::span<const Member> in_snapshot = {};  ///< members of an entry that must fit
  std::span<const Member> in_report = {};    ///< the same in a report
  bool lists_objects = true;                 ///< its entries must be objects
};

struct Kind {
  std::string_view name;
  const record::AnyTable* table;
  Removal removal;
  Role role = Role::Settings;
  std::vector<std::string_view> columns = {};  ///< the most telling ones; empty: the kind is not listed
  Section section = {};                        ///< its rows; nameless: they come from elsewhere
};

/// Every kind: those that are listed first, and each before those whose rows are part of its own.
std::span<const Kind> Kinds();

/// The kind with the table of that name. It must exist.
const Kind& KindOf(std::string_view table);

/// Has the slave's rows that every snapshot is compared with travel ahead, in a unit of work that sends its writes
/// ahead.
void ForeseeSnapshot(int zr);

}  // namespace qv::schema
