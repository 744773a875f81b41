#include "schema.h"

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
      &devices::PosTable(),
      &devices::PosTextRuleTable(),
      &devices::SpeakerTable(),
      &devices::CameraDetectionSettingTable(),
      &devices::CameraDeviceOutputTable(),
      &devices::RecShareTable(),
      &devices::CtrlerActionRuleTable(),
      &devices::IOModuleSettingTable(),
      &devices::IOModuleCamPairingTable(),
      &devices::PosEventConfTable(),
      &devices::EmapItemTable(),
  };
  for (const record::AnyTable* table : tables) table->Create(session);
}

constexpr db::Migration kMigrations[] = {{1, CreateTables}};

}  // namespace

std::span<const db::Migration> Migrations() { return kMigrations; }

}  // namespace qv::schema
