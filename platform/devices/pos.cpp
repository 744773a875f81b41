#include "pos.h"

#include "db/database.h"
#include "devices/emapitems.h"
#include "devices/listing.h"
#include "devices/posrules.h"
#include "devices/sections.h"
#include "devices/tables.h"
#include "messagedaemon.h"
#include "record/attempt.h"
#include "record/import.h"
#include "recserversavers.h"

namespace qv::devices {

const PosTableType& PosTable() {
  static const PosTableType table("pos", {.own_keys = {kTextRulesKey}, .misfit = record::Misfit::RefuseEntry});
  return table;
}

namespace {

std::list<POS> Load(const record::Where& selection) {
  std::list<POS> list = PosTable().Select(selection);
  LoadRules(list, selection);
  return list;
}

}  // namespace
}  // namespace qv::devices

using namespace qv;           // NOLINT(google-build-using-namespace): what follows is the package's interface
using namespace qv::devices;  // NOLINT(google-build-using-namespace)

// NOLINTNEXTLINE(performance-unnecessary-value-param): the package's signature
int POS::IsCfgChged(Json::Value entry) const {
  if (!entry.isObject()) return 0;
  const ReportedRule reported = ReadReportedRule(entry, false);
  if (!reported.possible || (reported.rule && !(reported.rule.Value() == rule_))) return 1;
  return PosTable().Differs(*this, entry) ? 1 : 0;
}

int POS::SetByJson(const Json::Value& entry, bool fromRecServer, int hostId) {
  if (!entry.isObject()) return 0;
  const ReportedRule reported = ReadReportedRule(entry, true);
  const int id_on_rec_server = GetIdOnRecServer();
  const int id = GetId();
  SetId(hostId);
  if (!reported.possible || !PosTable().Apply(*this, entry)) {
    SetId(id);
    return 0;
  }
  if (!fromRecServer) SetIdOnRecServer(id_on_rec_server);
  if (reported.rule) rule_ = reported.rule.Value();
  return 1;
}

int POS::Save() {
  const int id = GetId();
  const int result = record::Attempt("Failed to save POS terminal [{}]", id, [&] {
    db::AllOrNothing whole;
    const bool row_written = PosTable().Save(*this);
    // A terminal of which only the rules changed counts as updated too.
    if (SaveRules(GetId(), rule_) && !row_written) db::CountChange(PosTable().name(), db::Change::Updated, 1);
    whole.Keep();
  });
  if (result != 0) SetId(id);
  return result;
}

int POS::Delete() const {
  return record::Attempt("Failed to delete POS terminal [{}]", GetId(), [&] { PosTable().DeleteLater(*this); });
}

int GetPOSListByRule(const POSFilterRule& rule, std::list<POS>& list) {
  list.clear();
  return record::Attempt("Failed to list POS terminals", [&] { list = Load(SelectionOf(rule)); });
}

std::map<int, POS> GetPOSMapOnRecServer(int zrId, bool disabledToo) {
  std::map<int, POS> map;
  record::Attempt("Failed to list the POS terminals of server [{}]", zrId,
                  [&] { map = DevicesOf(zrId, disabledToo, PosTable()); });
  for (auto& [id, pos] : map) pos.MarkAsPart();
  return map;
}

int SyncRelatedTableForPOSDel(const POS& pos) {
  return record::Attempt("Failed to clean up after POS terminal [{}]", pos.GetId(), [&] {
    db::AllOrNothing whole;
    EmapItemTable().DeleteLater(record::Where().Is("pos_id", pos.GetId()));
    PosEventConfTable().DeleteLater(record::Where().Is("pos_id", pos.GetId()));
    whole.Keep();
  });
}

int SavePOSFromRecServer(int zrId, const Json::Value& section, bool notify) {
  std::list<int> ids;
  const int result = record::Attempt("Failed to import the POS terminals of server [{}]", zrId, [&] {
    record::ImportSection(Load(record::Where().Is("owner_zr_id", zrId)), zrId, section,
                          [&](POS& pos, const Json::Value& entry) {
                            if (pos.SetByJson(entry, true, pos.GetId()) != 0 && pos.Save() == 0)
                              ids.push_back(pos.GetId());
                          });
  });
  if (result == 0 && notify) SendPOSUpdateMsgToMsgD(ids, UPDATE_TYPE_CHANGED);
  return result;
}
