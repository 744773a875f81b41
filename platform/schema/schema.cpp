/// The schema of the host's database: which tables there are, and the migrations that make them.
#include <algorithm>
#include <stdexcept>
#include <string>

#include "../analytics/tables.h"
#include "../analytics/taskgroups.h"
#include "../capability/capability.h"
#include "../db/database.h"
#include "../devices/camerareferences.h"
#include "../devices/edgestoragetable.h"
#include "../devices/emapitems.h"
#include "../devices/posrules.h"
#include "../devices/sections.h"
#include "../devices/tables.h"
#include "../messages/outbox.h"
#include "../server/relatedtables.h"
#include "../server/servers.h"
#include "../server/settings.h"
#include "tables.h"

namespace qv::schema {

std::span<const record::AnyTable* const> Tables() {
  static const record::AnyTable* const tables[] = {
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
      &server::PrivilegeProfileServerTable(),
      &server::CameraMigrationTable(),
      &server::EventMountTable(),
      &server::EventExportTable(),
      &server::DoorLayoutItemTable(),
      &devices::LayoutItemTable(),
      &devices::CameraGroupMemberTable(),
      &analytics::IvaTaskTable(),
      &analytics::FaceTaskTable(),
      &analytics::CountingWidgetTable(),
      &analytics::TaskGroupTable(),
      &analytics::TaskGroupWidgetTable(),
  };
  return tables;
}

const record::AnyTable& TableNamed(std::string_view name) {
  const std::span<const record::AnyTable* const> tables = Tables();
  const auto found =
      std::find_if(tables.begin(), tables.end(), [&](const record::AnyTable* table) { return table->name() == name; });
  if (found == tables.end()) throw std::logic_error("no table " + std::string(name));
  return **found;
}

namespace {

/// Version 1: every table.
void CreateTables(db::Session& session) {
  for (const record::AnyTable* table : Tables()) table->Create(session);
}

/// Version 2: indexes for looking up single rows. None begins with the owner: for a server's rows, which come in order
/// of their ids, the index of the owner alone stays the only choice.
void IndexLookups(db::Session& session) {
  session.Execute(R"(
    CREATE INDEX iva_task_by_id_on_rec_server ON iva_task (id_on_rec_server,owner_zr_id);
    CREATE INDEX counting_widget_by_id_on_rec_server ON counting_widget (id_on_rec_server,iva_setting_id);
    CREATE INDEX counting_task_group_by_id_on_rec_server ON counting_task_group (id_on_rec_server,owner_zr_id);
    CREATE INDEX capability_file_by_path ON capability_file (path);
    DROP INDEX IF EXISTS message_by_zr_id;)");  // which new databases have never had
  // A file has one row from now on, that of its server before that of a shared file.
  session.Execute(R"(
    DELETE FROM capability_file WHERE id NOT IN (
      SELECT id FROM (SELECT id,ROW_NUMBER() OVER (PARTITION BY path ORDER BY owner_zr_id=0,id) AS place
                      FROM capability_file) AS placed WHERE place=1))");
}

constexpr db::Migration kMigrations[] = {{1, CreateTables}, {2, IndexLookups}};

// A service that uses the platform without opening a database of its own gets this schema.
const struct Registration {
  Registration() { db::SetDefaultMigrations(kMigrations); }
} kRegistration;

}  // namespace

}  // namespace qv::schema
