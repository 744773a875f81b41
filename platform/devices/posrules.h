/// The parsing rules of POS terminals: a table of their own, one row per text rule.
#pragma once

#include <json/value.h>

#include <list>

#include "pos.h"
#include "record/table.h"

namespace qv::devices {

/// The key under which a slave's entry reports a terminal's rules.
inline constexpr const char* kTextRulesKey = "text_rules";

/// What an entry says about a terminal's rules.
struct ReportedRule {
  bool possible = true;           ///< false: a rule has an impossible type, or the rules are no array
  Optional<PosParsingRule> rule;  ///< empty: nothing is said
};
/// @param told  log what is impossible
ReportedRule ReadReportedRule(const Json::Value& entry, bool told);

/// Gives each terminal of `list` its rules. @param selection the terminals that the list holds
void LoadRules(std::list<POS>& list, const record::Where& selection);
/// Makes `rule` the rules of terminal `pos_id`. @return whether rows were written: none are when they are so already
bool SaveRules(int pos_id, const PosParsingRule& rule);

const record::AnyTable& PosTextRuleTable();

}  // namespace qv::devices
