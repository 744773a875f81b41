#include "devices/sections.h"

#include <json/value.h>

#include "db/database.h"
#include "devices/hostids.h"
#include "devices/tables.h"
#include "json/storable.h"
#include "qvjson.h"
#include "record/attempt.h"
#include "record/fieldvalue.h"
#include "record/import.h"
#include "recserversavers.h"

// The references are also in the settings, under the keys that the slave uses, as ids of the host.
#define SECTION_ENTRY_FIELDS(FIELD)                                                     \
  FIELD(SectionEntryData, int, Id, "id", HostId)                                        \
  FIELD(SectionEntryData, int, IdOnRecServer, "id_on_rec_server", IdOnSlave)            \
  FIELD(SectionEntryData, int, OwnerZrId, "owner_zr_id", Owner)                         \
  FIELD(SectionEntryData, int, CameraId, "camera_id", HostOnly, .references = "camera") \
  FIELD(SectionEntryData, int, PosId, "pos_id", HostOnly, .references = "pos")          \
  FIELD(SectionEntryData, JsonText, Settings, "settings", HostOnly)                     \
  FIELD(SectionEntryData, int, IOModuleId, "iomodule_id", HostOnly, .references = "iomodule")

QV_DECLARE_FIELDS(SectionEntryData, SECTION_ENTRY_FIELDS)

namespace qv::devices {
namespace {

class SectionEntry : public TaggedRecord<SectionEntryData::Fields> {};
using SectionTable = record::Table<SectionEntry>;

const SectionTable kDetectionSettings("camera_detection_setting");
const SectionTable kDeviceOutputs("camera_device_output");
const SectionTable kRecShares("rec_share");
const SectionTable kCtrlerActionRules("ctrler_action_rule");
const SectionTable kIOModuleSettings("iomodule_setting");
const SectionTable kIOModuleCamPairings("iomodule_cam_pairing");
const SectionTable kPosEventConfs("pos_event_conf");

/// The doors of a controller name cameras too.
void RewriteDoors(Json::Value& settings, HostIdLookup& lookup) {
  if (!settings.isObject() || !settings.isMember("door")) return;
  for (Json::Value& door : settings["door"]) lookup.Rewrite(door, "cam_id", CameraTable());
}

/// A copy of `value` without the members that are secrets.
Json::Value WithoutSecrets(const Json::Value& value) {
  if (!value.isObject() && !value.isArray()) return value;
  Json::Value rest(value.type());
  for (auto member = value.begin(); member != value.end(); ++member) {
    if (value.isArray()) {
      rest.append(WithoutSecrets(*member));
    } else if (!IsSecretKey(member.name())) {
      rest[member.name()] = WithoutSecrets(*member);
    }
  }
  return rest;
}

/// Takes `entry` into `row`. @return whether the row must be written. Throws `db::Error` for what cannot be kept.
bool Take(SectionEntry& row, const Json::Value& entry, HostIdLookup& lookup) {
  Json::Value settings = entry;
  const int camera_id = lookup.Rewrite(settings, "cam_id", CameraTable());
  const int iomodule_id = lookup.Rewrite(settings, "iomodule_id", IOModuleTable());
  const int pos_id = lookup.Rewrite(settings, "pos_id", PosTable());
  RewriteDoors(settings, lookup);
  const bool same = row.GetId() != 0 && camera_id == row.GetCameraId() && iomodule_id == row.GetIOModuleId() &&
                    pos_id == row.GetPosId() && record::Holds(row.GetSettings(), settings);
  if (same) return false;
  if (const char* const reason = json::WhyNotStorable(settings)) {
    throw db::Error(db::Error::Kind::Statement, reason);
  }
  row.SetIdOnRecServer(record::IntIdOrZero(entry));
  row.SetCameraId(camera_id);
  row.SetIOModuleId(iomodule_id);
  row.SetPosId(pos_id);
  row.SetSettings({JsonWrite(settings, true)});
  return true;
}

int ReplaceSection(const SectionTable& table, log::Text<int> failure, int zrId, const Json::Value& section) {
  return record::Attempt(failure, zrId, [&] {
    const record::Where of_slave = record::Where().Is("owner_zr_id", zrId);
    std::list<SectionEntry> rows = table.Select(of_slave);
    if (section.empty() && rows.empty()) return;  // of most slaves, most sections
    db::AllOrNothing whole;
    HostIdLookup lookup(zrId);
    record::ImportSection(
        std::move(rows), zrId, section, record::IntIdOrZero,
        [&](SectionEntry& row, const Json::Value& entry) {
          if (Take(row, entry, lookup)) table.SaveLater(row);
        },
        [&](const SectionEntry& row) { table.DeleteLater(row); });
    whole.Keep();
  });
}

}  // namespace

const record::AnyTable& CameraDetectionSettingTable() { return kDetectionSettings; }
const record::AnyTable& CameraDeviceOutputTable() { return kDeviceOutputs; }
const record::AnyTable& RecShareTable() { return kRecShares; }
const record::AnyTable& CtrlerActionRuleTable() { return kCtrlerActionRules; }
const record::AnyTable& IOModuleSettingTable() { return kIOModuleSettings; }
const record::AnyTable& IOModuleCamPairingTable() { return kIOModuleCamPairings; }
const record::AnyTable& PosEventConfTable() { return kPosEventConfs; }

}  // namespace qv::devices

using namespace qv::devices;  // NOLINT(google-build-using-namespace): what follows is the package's interface

int SaveCamDetSettingFromRec(int zrId, const Json::Value& section) {
  return ReplaceSection(kDetectionSettings, "Failed to save the camera detection settings of server [{}]", zrId,
                        section);
}
int SaveCamDeviceOutputFromRec(int zrId, const Json::Value& section) {
  return ReplaceSection(kDeviceOutputs, "Failed to save the camera outputs of server [{}]", zrId, section);
}
int SaveRecShareFromRec(int zrId, const Json::Value& section) {
  return ReplaceSection(kRecShares, "Failed to save the recording shares of server [{}]", zrId, section);
}
int UpdateRecShareFromRec(int zrId, const Json::Value& section) {
  return ReplaceSection(kRecShares, "Failed to save the recording shares of server [{}]", zrId, section);
}
int UpdateCtrlDataInActRule(int zrId, const Json::Value& section) {
  // Rules ask for states: who logs in to a controller is kept with the controller alone.
  return ReplaceSection(kCtrlerActionRules, "Failed to save the controllers' action rules of server [{}]", zrId,
                        WithoutSecrets(section));
}
int SaveIOModuleSettingFromRec(int zrId, const Json::Value& section) {
  return ReplaceSection(kIOModuleSettings, "Failed to save the settings of I/O modules of server [{}]", zrId, section);
}
int SaveIOModuleCamPairingFromRec(int zrId, const Json::Value& section) {
  return ReplaceSection(kIOModuleCamPairings, "Failed to save the pairings of I/O modules and cameras of server [{}]",
                        zrId, section);
}
int SavePOSEventConfFromRecServer(int zrId, const Json::Value& section) {
  return ReplaceSection(kPosEventConfs, "Failed to save the POS event settings of server [{}]", zrId, section);
}
