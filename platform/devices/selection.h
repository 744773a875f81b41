/// The criteria that the filter rules of several kinds of devices have in common.
#pragma once

#include "../record/table.h"

namespace qv::devices {

/// The rows that a rule with the criteria `ids`, `ownerZrIds`, `enabled` and `hostLocalOnly` means.
template <class Rule>
record::Where SelectionOf(const Rule& rule) {
  record::Where where;
  if (rule.ids) where.In("id", rule.ids.Value());
  if (rule.ownerZrIds) where.In("owner_zr_id", rule.ownerZrIds.Value());
  if (rule.enabled) where.Is("enabled", rule.enabled.Value() ? 1 : 0);
  if (rule.hostLocalOnly && rule.hostLocalOnly.Value()) where.Is("owner_zr_id", 0);
  return where;
}

}  // namespace qv::devices
