#include "../analytics/tables.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "../capability/capability.h"
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

}  // namespace qv::schema
