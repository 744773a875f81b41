/// RTSP keys of a slave's cameras, in one key file per slave.
#pragma once

#include <map>
#include <string>

/// Rewrites the slave's key file with the keys of this report if one of them is not the last key that this process saw
/// of its camera. A file that could not be written, or was removed, is written again with the next new key or by the
/// next process. Thread-safe: one lock is held from the comparison to the end of the write, so that a file and the
/// remembered keys always come from the same report.
///
/// The file is not part of a unit of work. If the unit of work is not committed, the file still has the reported keys,
/// which are valid anyway.
/// @param keys  host id of the camera to key; does nothing when empty
void CheckToUpdateRtspKey(int zr_id, const std::map<int, std::string>& keys);

/// Deletes the slave's key file if it exists. Not part of a unit of work either.
void RemoveRtspKeyFile(int zr_id);
