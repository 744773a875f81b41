/// What snapshots and status reports consist of.
#pragma once

#include <json/value.h>

#include <optional>
#include <span>

#include "qv/host.h"
#include "schema/kinds.h"

namespace qv::host {

using schema::Kind;
using schema::Member;

/// The kinds that have a section in documents.
std::span<const Kind* const> KindsWithSection();

/// Members of a status report that are about the server itself; "status" is the first.
std::span<const Member> ServerMembers();

/// The first thing in the document that has the wrong type. None for a document that can be applied.
std::optional<Fault> FindFaultInSnapshot(const Json::Value& document);
std::optional<Fault> FindFaultInReport(const Json::Value& document);

}  // namespace qv::host
