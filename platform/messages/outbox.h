/// The outbox: every message to a daemon, the clients or a CMS host is a row, written in the transaction of its
/// change. Readers take the rows in order of their ids and delete what they have delivered. They are woken by a bell
/// when a commit brings messages.
#pragma once

#include <json/value.h>

#include <string_view>

#include "record/table.h"

namespace qv::messages {

inline constexpr std::string_view kMessageDaemon = "msgd";
inline constexpr std::string_view kActionRuleDaemon = "qvactruled";
inline constexpr std::string_view kClients = "client";
inline constexpr std::string_view kHostDaemon = "hostd";
inline constexpr std::string_view kCmsHost = "cms-host";

/// Adds a message. @param zr_id the slave that it is about, 0 when it is about no single one
/// @return 0, or -1 after one log line
int Post(int zr_id, std::string_view target, std::string_view command, const Json::Value& payload);

const record::AnyTable& MessageTable();

}  // namespace qv::messages
