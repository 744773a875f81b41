/// Keeps the host's copies of its recording servers' (slaves') devices and settings true.
///
/// The host's web-API service calls these functions with the slave's id in the CMS and the JSON document that the
/// slave sent. Each call runs on the caller's thread.
///
/// - Thread-safe. Two locks are taken inside: one while the folder of capability files is made, one while the stream
///   keys of a report are compared and written.
/// - Two calls for one slave at the same time would mix their database work. The caller keeps them apart, and decides
///   whether a call's changes are kept as a whole.
/// - A step that fails logs its failure, and the next step runs.
/// - A JSON value of an impossible type (an object where a number belongs) throws an exception derived from
///   `Json::Exception`. Exceptions of the package's libraries pass through as well.
#pragma once

#include <json/value.h>

#include <unordered_map>

class SlaveZR;
struct SlaveZRStatus;

#define QV_EXPORT __attribute__((visibility("default")))

extern "C" {

/// Applies a fresh configuration snapshot: adds what is new, updates what changed, deletes what the slave no longer
/// reports, and tells the host's other services.
/// @param slave  the slave's record; only its model is read
/// @param info   the snapshot, a JSON object; an absent device section counts as empty
/// @param zrId   the slave's id in the CMS
/// @return 0
QV_EXPORT int SaveSlaveInfoUpdate(const SlaveZR& slave, const Json::Value& info, int zrId);

/// Imports the configuration of a slave that has just been paired. Arguments and result as for `SaveSlaveInfoUpdate`.
QV_EXPORT int SaveSlaveInfoPair(const SlaveZR& slave, const Json::Value& info, int zrId);

/// Applies a slave's periodic status report: fills the caller's record and, while the slave is online, writes the
/// status of its devices to the host. Does not write what the host has already, nor the record itself.
/// @param status  the report, a JSON object
/// @param rec     the slave's record; `ZrId` must be set. Members that the report does not reach keep their values, for
///                example the counts of devices while the slave is offline. Partly filled if an exception is thrown
/// @return 0
QV_EXPORT int SaveSlaveStatus(const Json::Value& status, SlaveZRStatus& rec);

/// Deletes the devices of a slave that the host stops managing.
/// @return 0; failures are only logged
QV_EXPORT int RemoveSlaveData(int zrId);

/// Deletes everything else that the host keeps about the slave, including its action rules and its file of stream keys,
/// and its devices again. Deletes the file at once, even if the caller does not keep the database changes; the file is
/// written again with the next new key, or with the first report to a new process.
/// @return 0; -1 if a step failed. The log names the step, and a few failures that do not count
QV_EXPORT int SyncRelatedTableForSlaveDel(int zrId);

/// Fills `doorToZr` with the owning slave of every door of an access controller, keyed by the door's host id.
/// @return 0; -1 on failure
QV_EXPORT int GetAxisDoorZrIdMap(std::unordered_map<int, int>& doorToZr);
}
