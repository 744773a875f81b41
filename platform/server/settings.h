/// Settings of the host itself, as names and texts.
#pragma once

#include <string>
#include <string_view>

#include "record/table.h"

namespace qv::server {

/// The setting's text; empty when it is not set or cannot be read (one log line).
std::string Setting(std::string_view name);

const record::AnyTable& SettingTable();

}  // namespace qv::server
