/// Keeps the host's copies of its recording servers' (slaves') devices and settings true.
///
/// The host's web-API service calls these functions with the slave's id in the CMS and the JSON document that the
/// slave sent. Each call runs on the caller's thread and keeps nothing that it loads; of locks it takes only the one
/// that keeps the stream keys of several reports apart. Two calls for one slave at the same time would mix their
/// database work: keeping them apart, and deciding whether a call's changes are kept as a whole, is the caller's
/// business.
///
/// A step that fails logs its failure and the next step runs. What cannot be read as JSON of the expected kind (an
/// object where a number belongs) leaves a function as an exception derived from `Json::Exception`; what a library of
/// the package throws leaves it too.
#pragma once

#include <json/value.h>

#include <unordered_map>

class SlaveZR;
struct SlaveZRStatus;

#define QV_EXPORT __attribute__((visibility("default")))

extern "C" {

/// Applies a fresh configuration snapshot: what is new is added, what changed is updated, what the slave no longer
/// reports is deleted, and the host's other services are told.
/// @param slave  the slave's record; only its model is read
/// @param info   the snapshot, a JSON object; a section that is absent counts as empty
/// @param zrId   the slave's id in the CMS
/// @return 0
QV_EXPORT int SaveSlaveInfoUpdate(const SlaveZR& slave, const Json::Value& info, int zrId);

/// Imports the configuration of a slave that has just been paired. Arguments and result as above.
QV_EXPORT int SaveSlaveInfoPair(const SlaveZR& slave, const Json::Value& info, int zrId);

/// Applies a slave's periodic status report: reads what it says of the slave into the caller's record and, while the
/// slave is online, writes the status of its devices to the host. What equals what the host has is not written again.
/// The record itself is the caller's to store.
/// @param status  the report, a JSON object
/// @param rec     the slave's record with `ZrId` set. Members that the report does not reach, as those of the devices
///                while the slave is offline, keep their values. When an exception leaves the function, the record is
///                filled in part
/// @return 0
QV_EXPORT int SaveSlaveStatus(const Json::Value& status, SlaveZRStatus& rec);

/// Deletes the devices of a slave that the host stops managing.
/// @return 0; failures are in the log only
QV_EXPORT int RemoveSlaveData(int zrId);

/// Deletes everything else that the host keeps about the slave, its action rules and its file of stream keys
/// included, and the devices too. The file goes at once, whether or not the caller keeps the changes of the database;
/// it comes back with the next new key, or with the first report to a process that is started later.
/// @return 0, or -1 when a step failed; which one, and a few failures that do not count, are in the log only
QV_EXPORT int SyncRelatedTableForSlaveDel(int zrId);

/// Fills `doorToZr` with the owning slave of every door of access controllers, by the door's host id.
/// @return what the device library said: 0 on success, -1 on failure
QV_EXPORT int GetAxisDoorZrIdMap(std::unordered_map<int, int>& doorToZr);
}
