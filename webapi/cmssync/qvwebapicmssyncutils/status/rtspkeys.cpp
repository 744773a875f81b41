#include "status/rtspkeys.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <set>

#include "frame/logmessage.h"
#include "qvfile.h"
#include "rtspinfo.h"

namespace {

/// The last key of every camera, for the life of the process; a camera that has gone keeps its entry.
struct KnownKeys {
  std::mutex mutex;  ///< held while the file is written too
  std::map<int, std::string> keys;
  std::set<int> stale;  ///< servers whose file has not got their keys
};

KnownKeys& TheKnownKeys() {
  static KnownKeys known;
  return known;
}

/// @return whether a key was new
bool Remember(const std::map<int, std::string>& keys, std::map<int, std::string>& known) {
  bool changed = false;
  for (const auto& [camera, key] : keys) {
    const auto [held, is_new] = known.try_emplace(camera, key);
    if (!is_new && held->second == key) continue;
    held->second = key;
    changed = true;
  }
  return changed;
}

/// Takes the keys out of the file at once: from here to its new content, old keys are not served.
/// @return 0, or the error. A link is an error (ELOOP): truncate64 would empty what it points to
int Truncate(const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) return errno;
  const int error = ftruncate64(file, 0) == 0 ? 0 : errno;
  close(file);
  return error;
}

/// @return whether the file has the keys now
bool WriteKeyFile(int zrId, const std::map<int, std::string>& keys) {
  CMS_LOG(5, "CheckToUpdateRtspKey", "Update rtsp key for zr [%d]\n", zrId);
  const std::string path = RtspKeyFilePath(zrId);
  if (const int error = Truncate(path); error != 0 && error != ENOENT) {
    CMS_LOG(1, "CheckToUpdateRtspKey", "Failed to truncate %s to 0. Err [%d]\n", path.c_str(), error);
  }
  const bool written = SetRtspInfoToConf(path, keys) == 0;
  if (SetFileOwnerToQV(path, false) != 0) {
    CMS_LOG(1, "CheckToUpdateRtspKey", "Failed to modify owner of file [%s].\n", path.c_str());
  }
  return written;
}

}  // namespace

void CheckToUpdateRtspKey(int zrId, const std::map<int, std::string>& keys) {
  if (keys.empty()) return;
  KnownKeys& known = TheKnownKeys();
  const std::lock_guard guard(known.mutex);
  if (Remember(keys, known.keys)) known.stale.insert(zrId);
  if (known.stale.contains(zrId) && WriteKeyFile(zrId, keys)) known.stale.erase(zrId);
}

void RemoveRtspKeyFile(int zrId) {
  KnownKeys& known = TheKnownKeys();
  const std::lock_guard guard(known.mutex);
  const std::string path = RtspKeyFilePath(zrId);
  if (IsFileExist(path, false)) unlink(path.c_str());
  known.stale.insert(zrId);
}
