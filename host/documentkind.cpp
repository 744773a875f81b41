#include "documentkind.h"

#include <algorithm>
#include <set>
#include <string>

#include "sections.h"

namespace qv::host {
namespace {

/// Members of a device's entry that a report has too.
const std::set<std::string, std::less<>>& StateMembers() {
  static const std::set<std::string, std::less<>> members = {
      "status", "live_profile", "rtsp_key", "stream_profile1", "stream_profile2", "stream_profile3", "mac_addr"};
  return members;
}

/// What slaves call the configuration that the host keeps of such a device, but for what reports say of it too.
std::set<std::string, std::less<>> ConfigurationMembers(const qv::record::AnyTable& table) {
  std::set<std::string, std::less<>> members;
  for (const qv::record::Field& field : table.fields()) {
    if (field.info.role != FieldRole::Config && field.info.role != FieldRole::Secret) continue;
    members.insert(field.info.json_key != nullptr ? field.info.json_key : field.info.column);
  }
  for (const std::string& member : StateMembers()) members.erase(member);
  return members;
}

/// What the devices of a document look like.
struct Devices {
  bool configured = false;  ///< one has configuration
  bool stated = false;      ///< one has its state
};

Devices LookAtDevices(const Json::Value& document) {
  Devices devices;
  for (const Kind* kind : KindsWithSection()) {
    const Json::Value& entries = document[kind->section.name];
    if (kind->role != schema::Role::Device || entries.empty() || !entries.isArray()) continue;
    const auto configuration = ConfigurationMembers(*kind->table);
    for (const Json::Value& entry : entries) {
      if (!entry.isObject()) continue;
      for (auto member = entry.begin(); member != entry.end(); ++member) {
        const std::string name = member.name();
        devices.stated = devices.stated || StateMembers().contains(name);
        if (!configuration.contains(name)) continue;
        devices.configured = true;
        return devices;
      }
    }
  }
  return devices;
}

/// Whether the document says how the server is. Answers of other kinds have a "status" too: a text.
bool HasServerStatus(const Json::Value& document) { return document["status"].isNumeric(); }

bool HasServerMembers(const Json::Value& document) {
  const auto rest = ServerMembers().subspan(1);
  return std::any_of(rest.begin(), rest.end(), [&](const Member& member) { return document.isMember(member.name); });
}

bool HasSectionOfSnapshotsOnly(const Json::Value& document) {
  return std::any_of(KindsWithSection().begin(), KindsWithSection().end(), [&](const Kind* kind) {
    return !kind->section.in_reports && document.isMember(kind->section.name);
  });
}

/// Whether any section of a snapshot is there, in a report too.
bool HasSections(const Json::Value& document) {
  return std::any_of(KindsWithSection().begin(), KindsWithSection().end(),
                     [&](const Kind* kind) { return document.isMember(kind->section.name); });
}

}  // namespace

DocumentKind KindOf(const Json::Value& document) {
  if (HasSectionOfSnapshotsOnly(document)) return DocumentKind::Snapshot;
  const bool has_status = HasServerStatus(document);
  const bool has_server_members = HasServerMembers(document);
  if (has_status && has_server_members) return DocumentKind::StatusReport;
  const Devices devices = LookAtDevices(document);
  if (devices.configured) return DocumentKind::Snapshot;
  if (has_status || has_server_members || devices.stated) return DocumentKind::StatusReport;
  return HasSections(document) ? DocumentKind::Snapshot : DocumentKind::Neither;
}

}  // namespace qv::host
