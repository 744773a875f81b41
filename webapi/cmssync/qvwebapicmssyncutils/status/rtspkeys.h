/// RTSP keys of a slave's cameras.
#pragma once

#include <map>
#include <string>

/// Rewrites the slave's key file with the keys of this report when one of them is not the last one that this process
/// saw of its camera. A file that could not be written, or has been removed since, waits for the next new key or the
/// next process. May be called from any thread: reports of several slaves follow one another here, so that the keys in
/// a file and the keys remembered never belong to different reports.
///
/// The file is no part of a unit of work. When one goes back, the file has the keys that the slave reported, which hold
/// all the same.
/// @param keys  host id of the camera to key; with no keys, nothing happens
void CheckToUpdateRtspKey(int zrId, const std::map<int, std::string>& keys);

/// Deletes the slave's key file, if there is one. This cannot be taken back with the rows of before.
void RemoveRtspKeyFile(int zrId);
