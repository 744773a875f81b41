/// The device sections of a configuration snapshot, one step each. Every step brings what the host holds of slave
/// `zr_id` in line with its section: it adds what is new, updates what differs and removes what the slave no longer
/// reports. Failures are logged and do not stop a step.
#pragma once

#include <json/value.h>

/// Cameras and their edge storage (cameras.cpp). Tells the message daemon and the action-rule daemon before it removes
/// cameras. Does not overwrite a camera that a user is configuring on the host.
/// @param section  an array of camera entries; null and an empty array remove all cameras of the slave
/// @return 0
int UpdateCameraData(int zr_id, const Json::Value& section);

/// Capability files (camcapfiles.cpp). Only writes files, never removes one. Skips an entry that lacks its vendor,
/// model, file name or description, and an entry whose file name is refused. Thread-safe.
/// @param section  an array of {"camVendor", "camModel", "capFileName", "camCap"}; does nothing when it is empty
void SaveCamCapFiles(int zr_id, const Json::Value& section);

/// I/O modules (iomodules.cpp). Does not overwrite a module that a user is configuring on the host.
/// @return 0
int UpdateIOModuleData(int zr_id, const Json::Value& section);

/// POS terminals (posterminals.cpp).
void ReconcilePOSs(int zr_id, const Json::Value& section);

/// IP speakers (speakers.cpp).
void ReconcileSpeakers(int zr_id, const Json::Value& section);

/// Access controllers with their doors (ctrlers.cpp). Saves new controllers as one batch and deletes the rest with one
/// call.
/// @return 0; -1 if the host's controllers cannot be listed, in which case nothing is written
int UpdateCtrlerData(int zr_id, const Json::Value& section);
