#include "kinds.h"

#include <algorithm>

#include "devices/tables.h"

namespace qvcms {

using qv::devices::PosTable;
using qv::devices::SpeakerTable;

std::span<const Kind> Kinds() {
  // The order is that of lists of kinds; messages come last.
  static const std::vector<Kind> kinds = {
      {"pos",
       &PosTable(),
       Role::Device,
       "owner_zr_id",
       {"id", "owner_zr_id", "id_on_rec_server", "name", "enabled", "vendor", "model", "host", "port"}},
      {"speaker",
       &SpeakerTable(),
       Role::Device,
       "owner_zr_id",
       {"id", "owner_zr_id", "id_on_rec_server", "name", "enabled", "vendor", "model", "host", "volume"}},
  };
  return kinds;
}

const Kind* FindKind(std::string_view name) {
  const std::span<const Kind> kinds = Kinds();
  const auto found = std::find_if(kinds.begin(), kinds.end(), [&](const Kind& kind) { return kind.name == name; });
  return found == kinds.end() ? nullptr : &*found;
}

std::string KindNames() {
  std::string names;
  for (const Kind& kind : Kinds()) names += (names.empty() ? "" : ", ") + std::string(kind.name);
  return names;
}

}  // namespace qvcms
