/// The slave's own state in a status report, read into the caller's record.
///
/// An absent member reads as 0, false or the empty text unless stated otherwise. A value that cannot be converted
/// throws; members that were read before keep their new values.
#pragma once

#include <json/value.h>

#include "slavezrstatus.h"

/// Reads what is valid whether or not the slave is online: connection, versions, "is_beta" (absent: true), encryption.
void ReadServerState(const Json::Value& status, SlaveZRStatus& rec);
/// Reads the counts of devices, the volume space (absent: -1) and the slave's features.
void ReadOnlineState(const Json::Value& status, SlaveZRStatus& rec);
void ReadRecoverProgress(const Json::Value& status, SlaveZRStatus& rec);
/// Reads the CMS flags. Only the text "true" sets a flag: slaves send both as text, and a flag locks users out.
void ReadCmsFlags(const Json::Value& status, SlaveZRStatus& rec);
/// Logs the record in one line, without the counts of I/O modules, POS terminals and speakers.
void LogZrInfo(const SlaveZRStatus& rec);
