/// The folder of the capability files, and the table that says which files there are and whose they are.
#pragma once

#include <string_view>

#include "../record/table.h"

namespace qv::capability {

/// Below the data folder.
inline constexpr std::string_view kFolder = "capability";

/// One row per file: owner (0: shared by all servers), path in the folder, vendor, model.
const record::AnyTable& CapabilityFileTable();

/// Deletes the files of the server `zr` with their rows, and its folder unless a shared file is in it; to be called
/// within a transaction. Throws `db::Error`.
void DeleteFilesOf(int zr);

}  // namespace qv::capability
