/// The schema of the host's database: which tables there are, and the migrations that make them.
#include <span>

#include "../capability/capability.h"
#include "../db/database.h"
#include "../devices/camerareferences.h"
#include "../devices/edgestoragetable.h"
#include "../devices/emapitems.h"
#include "../devices/posrules.h"
#include "../devices/sections.h"
#include "../devices/tables.h"
#include "../messages/outbox.h"
#include "../server/servers.h"
#include "../server/settings.h"

namespace qv::schema {
namespace {

/// Version 1: every table, in an order in which references point backwards.
void CreateTables(db::Session& session) {
  const record::AnyTable* const tables[] = {
      &server::SettingTable(),
      &server::ServerTable(),
      &messages::MessageTable(),
      &devices::CameraTable(),
      &devices::EdgeStorageTable(),
      &capability::CapabilityFileTable(),
      &devices::IOModuleTable(),
      &devices::PosTable(),
      &devices::PosTextRuleTable(),
      &devices::SpeakerTable(),
      &devices::CtrlerTable(),
      &devices::DoorTable(),
      &devices::CameraDetectionSettingTable(),
      &devices::CameraDeviceOutputTable(),
      &devices::RecShareTable(),
      &devices::CtrlerActionRuleTable(),
      &devices::IOModuleSettingTable(),
      &devices::IOModuleCamPairingTable(),
      &devices::PosEventConfTable(),
      &devices::EmapItemTable(),
      &devices::LayoutItemTable(),
      &devices::CameraGroupMemberTable(),
  };
  for (const record::AnyTable* table : tables) table->Create(session);
}

constexpr db::Migration kMigrations[] = {{1, CreateTables}};

// A service that uses the platform without opening a database of its own gets this schema.
const struct Registration {
  Registration() { db::SetDefaultMigrations(kMigrations); }
} kRegistration;

}  // namespace

}  // namespace qv::schema
