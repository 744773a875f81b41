/// What snapshots and status reports consist of.
#pragma once

#include <json/value.h>

#include <optional>
#include <span>
#include <string>

#include "qv/host.h"
#include "record/table.h"

namespace qv::host {

/// A member of a document or of an entry, and the type that the host needs.
struct Member {
  const char* name;
  Json::ValueType type;
};

/// A list at the top of a document.
struct Section {
  const char* name;
  bool in_reports = false;                   ///< in status reports too
  std::span<const Member> in_snapshot = {};  ///< members of an entry that must fit
  std::span<const Member> in_report = {};    ///< the same in a report
  bool lists_objects = true;                 ///< its entries must be objects
  const record::AnyTable* table = nullptr;   ///< where its entries are kept
  bool lists_devices = false;
};

std::span<const Section> Sections();

/// Members of a status report that are about the server itself; "status" is the first.
std::span<const Member> ServerMembers();

/// The first thing in the document that has the wrong type. None for a document that can be applied.
std::optional<Fault> FindFaultInSnapshot(const Json::Value& document);
std::optional<Fault> FindFaultInReport(const Json::Value& document);

}  // namespace qv::host
