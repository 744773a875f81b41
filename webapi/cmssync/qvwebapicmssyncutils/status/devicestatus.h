/// Status of the devices that a report lists in batches: I/O modules, POS terminals, IP speakers.
///
/// Each batch writes the status of all devices of its kind that changed with one command, and tells the message daemon
/// which they are, even if the command failed: whoever hears of it loads what the database holds. Elements that the
/// host has no device for are passed over.
#pragma once

#include <json/value.h>

/// Leaves modules alone that a user is configuring on the host. @param section  "iomodule_info"
void BatUpdateIOMod(int zrId, const Json::Value& section);
/// @param status  the whole report, of which "POS_info" is read
void BatUpdatePOS(const Json::Value& status, int zrId);
/// @param section  "speaker_info"
void BatUpdateSpeaker(int zrId, const Json::Value& section);
