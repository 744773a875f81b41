#include "devices/posrules.h"

#include <unordered_map>

#include "db/database.h"
#include "devices/tables.h"

#define POS_TEXT_RULE_FIELDS(FIELD)                                           \
  FIELD(PosTextRuleData, int, Id, "id", HostId)                               \
  FIELD(PosTextRuleData, int, PosId, "pos_id", HostOnly, .references = "pos") \
  FIELD(PosTextRuleData, int, Position, "position", HostOnly)                 \
  FIELD(PosTextRuleData, int, Type, "type", Config)                           \
  FIELD(PosTextRuleData, std::string, Pattern, "pattern", Config)             \
  FIELD(PosTextRuleData, std::string, Value, "value", Config)

QV_DECLARE_FIELDS(PosTextRuleData, POS_TEXT_RULE_FIELDS)

namespace qv::devices {
namespace {

class TextRuleRow : public TaggedRecord<PosTextRuleData::Fields> {
 public:
  TextRule Rule() const { return {static_cast<TEXT_RULE_TYPE>(GetType()), GetPattern(), GetValue()}; }
};

const record::Table<TextRuleRow>& RuleTable() {
  static const record::Table<TextRuleRow> table("pos_text_rule", {.misfit = record::Misfit::RefuseEntry});
  return table;
}

}  // namespace

const record::AnyTable& PosTextRuleTable() { return RuleTable(); }

ReportedRule ReadReportedRule(const Json::Value& entry, bool told) {
  const Json::Value& reported = entry[kTextRulesKey];
  if (reported.isNull()) return {};
  if (!reported.isArray()) return {.possible = false, .rule = {}};
  PosParsingRule rule;
  for (const Json::Value& element : reported) {
    TextRuleRow row;
    if ((!told && !RuleTable().Fits(row, element)) || !RuleTable().Apply(row, element)) {
      return {.possible = false, .rule = {}};
    }
    rule.rules.push_back(row.Rule());
  }
  return {.possible = true, .rule = std::move(rule)};
}

void LoadRules(std::list<POS>& list, const record::Where& selection) {
  if (list.empty()) return;
  std::unordered_map<int, PosParsingRule> rules;
  for (const TextRuleRow& row : RuleTable().Select(record::Where().InRowsOf("pos_id", PosTable().name(), selection))) {
    rules[row.GetPosId()].rules.push_back(row.Rule());
  }
  for (POS& pos : list) {
    if (const auto found = rules.find(pos.GetId()); found != rules.end()) pos.SetParsingRule(std::move(found->second));
  }
}

bool SaveRules(int pos_id, const PosParsingRule& rule) {
  const record::Where of_this_terminal = record::Where().Is("pos_id", pos_id);
  PosParsingRule stored;
  for (const TextRuleRow& row : RuleTable().Select(of_this_terminal)) stored.rules.push_back(row.Rule());
  if (stored == rule) return false;
  RuleTable().DeleteLater(of_this_terminal);
  int position = 0;
  for (const TextRule& text_rule : rule.rules) {
    TextRuleRow row;
    row.SetPosId(pos_id);
    row.SetPosition(position++);
    row.SetType(text_rule.type);
    row.SetPattern(text_rule.pattern);
    row.SetValue(text_rule.value);
    RuleTable().SaveLater(row);
  }
  return true;
}

}  // namespace qv::devices
