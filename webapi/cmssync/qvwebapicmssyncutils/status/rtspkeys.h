/// RTSP keys of a slave's cameras.
#pragma once

#include <map>
#include <string>

/// Rewrites the slave's key file with the keys of this report when one of them is not the last one that this process
/// saw of its camera, or when the file has been removed or could not be written since. May be called from any thread:
/// reports of several slaves follow one another here, so that the keys in a file and the keys remembered never belong
/// to different reports.
///
/// The file is no part of a unit of work. When one goes back, the file has the keys that the slave reported, which hold
/// all the same.
/// @param keys  host id of the camera to key; with no keys, nothing happens
void CheckToUpdateRtspKey(int zrId, const std::map<int, std::string>& keys);

/// Deletes the slave's key file, if there is one. This cannot be taken back: when the caller goes back to the rows of
/// before, this process writes the file with the slave's next report, any other one with the next new key.
void RemoveRtspKeyFile(int zrId);
