/// The device sections of a status report, one step each. Elements that the host has no device for are skipped.
/// Failures are logged.
#pragma once

#include <json/value.h>

class CachedCamMap;

/// Camera status and stream keys (camerastatus.cpp): writes all changed cameras with one call, except those that a user
/// is configuring on the host; notifies clients of cameras whose live stream changed; updates the slave's key file.
/// @param section  "camera_info"
void UpdateCamInfo(int zr_id, const Json::Value& section, CachedCamMap& camera_map);

/// Status of I/O modules, POS terminals and IP speakers (statusbatches.cpp). Each writes the status of all changed
/// devices with one command and then tells the message daemon which devices changed. It tells the daemon even if the
/// command fails: listeners load what the database holds.

/// Skips modules that a user is configuring on the host. @param section  "iomodule_info"
void BatUpdateIOMod(int zr_id, const Json::Value& section);
/// @param status  the whole report; reads "POS_info"
void BatUpdatePOS(const Json::Value& status, int zr_id);
/// @param section  "speaker_info"
void BatUpdateSpeaker(int zr_id, const Json::Value& section);

/// Access controllers and doors (ctrlerstatus.cpp): writes controllers whose status, MAC address or doors differ, and
/// doors whose status differs; adds doors that the host does not have. Logs nothing: the next report finds what could
/// not be written.
/// @param status  the whole report; reads "ctrler_info"
void UpdateCtrlerStatus(const Json::Value& status, int zr_id);
