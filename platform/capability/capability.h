/// The table that says which capability files there are, whose they are and what they hold.
#pragma once

#include <string>

#include "record/table.h"

namespace qv::capability {

/// One row for each server that reports a file: the server (0: not known), the path in the capability folder, vendor,
/// model, content. The file has the content of the row with the lowest id.
const record::AnyTable& CapabilityFileTable();

/// Deletes the rows of the server `zr`, and with the commit the files that no other server reports; to be called
/// within a transaction. Throws `db::Error`.
void DeleteFilesOf(int zr);

/// Why a slave's file cannot have the name that its document gives it; empty if it can. To be called in the unit of
/// work of the document, once it is applied. Throws `db::Error`.
std::string WhyRefused(const std::string& name, const std::string& model, int zr);

}  // namespace qv::capability
