/// Key files: for each slave one file with the RTSP keys of its cameras, which the streaming service reads. They are
/// secrets: mode 0600 from the moment they exist, in a folder of mode 0700, which belongs to the package's user too.
///
/// A file is one JSON object: host id of the camera, in decimal, to key.
#pragma once

#include <map>
#include <string>

/// Where the key file of slave `zrId` is.
std::string RtspKeyFilePath(int zrId);

/// Atomically replaces the file `path` by one with `keys`: a reader finds the old file, which a status report has
/// emptied before, or the whole new one. A link at `path` is replaced, not followed. Makes the file's
/// folder as needed.
/// @return 0 on success, -1 after one log line on failure
int SetRtspInfoToConf(const std::string& path, const std::map<int, std::string>& keys);

/// Gives the file to the package's user and group. On a system without such a user the owner stays.
/// @param followLink  change the owner of what a link at `path` points to, not of the link
/// @return 0 on success, -1 if there is no such file or its owner cannot be changed
int SetFileOwnerToQV(const std::string& path, bool followLink);
