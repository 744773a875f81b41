#include "status/rtspkeys.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>

#include "frame/logmessage.h"
#include "qvfile.h"
#include "rtspinfo.h"

namespace {

/// The last key of every camera, kept for the life of the process. Entries of removed cameras stay.
struct KnownKeys {
  std::mutex mutex;  ///< also held while a file is written
  std::map<int, std::string> keys;
};

KnownKeys& TheKnownKeys() {
  static KnownKeys known;
  return known;
}

/// @return whether a key is new or changed
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

/// Empties the file, so that old keys are not served until the new ones are written.
/// @return 0, or an errno value. A link is an error (ELOOP), since truncate64 would empty the link's target
int Truncate(const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) return errno;
  const int error = ftruncate64(file, 0) == 0 ? 0 : errno;
  close(file);
  return error;
}

void WriteKeyFile(int zr_id, const std::map<int, std::string>& keys) {
  CMS_LOG(5, "CheckToUpdateRtspKey", "Update rtsp key for zr [%d]\n", zr_id);
  const std::string path = RtspKeyFilePath(zr_id);
  if (const int error = Truncate(path); error != 0 && error != ENOENT) {
    CMS_LOG(1, "CheckToUpdateRtspKey", "Failed to truncate %s to 0. Err [%d]\n", path.c_str(), error);
  }
  SetRtspInfoToConf(path, keys);
  if (SetFileOwnerToQV(path, false) != 0) {
    CMS_LOG(1, "CheckToUpdateRtspKey", "Failed to modify owner of file [%s].\n", path.c_str());
  }
}

}  // namespace

void CheckToUpdateRtspKey(int zr_id, const std::map<int, std::string>& keys) {
  if (keys.empty()) return;
  KnownKeys& known = TheKnownKeys();
  const std::lock_guard guard(known.mutex);
  if (Remember(keys, known.keys)) WriteKeyFile(zr_id, keys);
}

void RemoveRtspKeyFile(int zr_id) {
  const std::string path = RtspKeyFilePath(zr_id);
  if (IsFileExist(path, false)) unlink(path.c_str());
}
