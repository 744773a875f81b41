/// The columns of the camera table, for SQL that is made by the yardsticks.
#pragma once

#include <string>
#include <vector>

#include "camera.h"

namespace bench {

struct Column {
  FieldInfo info;
  bool is_json;  ///< a nested value, kept as JSON text
  bool is_text;  ///< of any kind

  /// The entry's member that the column comes from; empty for the host's own columns.
  std::string Key() const;
};

/// All but the host id.
const std::vector<Column>& CameraColumns();
/// Those that come from a slave's entry, its id among them, in the order of their keys.
const std::vector<Column>& ReportedCameraColumns();

/// "name,enabled,...", each behind `prefix`.
std::string ColumnNames(const std::vector<Column>& columns, const std::string& prefix = "");

}  // namespace bench
