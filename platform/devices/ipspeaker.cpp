#include "ipspeaker.h"

#include "db/database.h"
#include "devices/emapitems.h"
#include "devices/listing.h"
#include "devices/tables.h"
#include "record/attempt.h"
#include "record/import.h"
#include "recserversavers.h"

namespace qv::devices {

const SpeakerTableType& SpeakerTable() {
  static const SpeakerTableType table("ipspeaker", {.misfit = record::Misfit::RefuseEntry});
  return table;
}

}  // namespace qv::devices

using namespace qv;           // NOLINT(google-build-using-namespace): what follows is the package's interface
using namespace qv::devices;  // NOLINT(google-build-using-namespace)

// NOLINTNEXTLINE(performance-unnecessary-value-param): the package's signature
int IPSpeaker::IsCfgChanged(Json::Value entry) const { return SpeakerTable().Differs(*this, entry) ? 1 : 0; }

int IPSpeaker::SetByJsonWithDBColKey(const Json::Value& entry, bool fromRecServer, int hostId, bool withStatus) {
  const int id_on_rec_server = GetIdOnRecServer();
  const int id = GetId();
  SetId(hostId);
  if (!SpeakerTable().Apply(*this, entry)) {
    SetId(id);
    return 0;
  }
  if (!fromRecServer) SetIdOnRecServer(id_on_rec_server);
  if (withStatus && entry["status"].isInt()) SetStatusOnRecServer(entry["status"].asInt());
  return 1;
}

int IPSpeaker::Save() {
  return record::Attempt("Failed to save speaker [{}]", GetId(), [&] { SpeakerTable().SaveLater(*this); });
}

int IPSpeaker::Delete() const {
  return record::Attempt("Failed to delete speaker [{}]", GetId(), [&] { SpeakerTable().DeleteLater(*this); });
}

std::list<IPSpeaker> IPSpeakerGetList(const IPSpeakerFilterRule& rule, int& total) {
  std::list<IPSpeaker> list;
  record::Attempt("Failed to list speakers", [&] { list = SpeakerTable().Select(SelectionOf(rule)); });
  total = static_cast<int>(list.size());
  return list;
}

std::map<int, IPSpeaker> GetSpeakerMapOnRecServer(int zrId, bool disabledToo) {
  std::map<int, IPSpeaker> map;
  record::Attempt("Failed to list the speakers of server [{}]", zrId,
                  [&] { map = DevicesOf(zrId, disabledToo, SpeakerTable()); });
  return map;
}

int SpeakerSync::SyncRelatedTableForSpeakerDel(const IPSpeaker& speaker) {
  return record::Attempt("Failed to clean up after speaker [{}]", speaker.GetId(),
                         [&] { EmapItemTable().DeleteLater(record::Where().Is("speaker_id", speaker.GetId())); });
}

int SaveSpeakerFromRecServer(int zrId, const Json::Value& section) {
  return record::Attempt("Failed to import the speakers of server [{}]", zrId, [&] {
    record::ImportSection(SpeakerTable().Select(record::Where().Is("owner_zr_id", zrId)), zrId, section,
                          [](IPSpeaker& speaker, const Json::Value& entry) {
                            if (speaker.SetByJsonWithDBColKey(entry, true, speaker.GetId(), false) != 0) speaker.Save();
                          });
  });
}
