/// What a status report says of the slave itself, read into the caller's record.
///
/// A member that is absent reads as 0, false or the empty text, where nothing else is said. A value of a type that
/// cannot be read as its member throws; the record keeps what was read before.
#pragma once

#include <json/value.h>

#include "slavezrstatus.h"

/// What counts whether or not the slave is online: the connection, versions, "is_beta" (absent: true), encryption.
void ReadServerState(const Json::Value& status, SlaveZRStatus& rec);
/// Counts of devices, volume space (absent: -1), what the slave can handle.
void ReadOnlineState(const Json::Value& status, SlaveZRStatus& rec);
void ReadRecoverProgress(const Json::Value& status, SlaveZRStatus& rec);
/// Only the text "true" sets a flag: slaves send these two as text, and a flag locks the slave's users out.
void ReadCmsFlags(const Json::Value& status, SlaveZRStatus& rec);
/// Logs the record in one line. The counts of I/O modules, POS terminals and speakers are no part of it.
void LogZrInfo(const SlaveZRStatus& rec);
