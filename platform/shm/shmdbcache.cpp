#include "shmdbcache.h"

#include <vector>

#include "../db/database.h"
#include "dbglog.h"
#include "devicecachefile.h"
#include "iomodule.h"

using qv::shm::DeviceCacheFile;

namespace {

/// The cache of the data folder that is open, mapped at most once.
class OpenCache {
 public:
  static std::filesystem::path Path() { return qv::db::DataFolder() / "device-cache.shm"; }

  /// Null when it cannot be mapped; the next call tries again.
  std::shared_ptr<DeviceCacheFile> Get() {
    const std::lock_guard guard(mutex_);
    try {
      Map(Path());
    } catch (const qv::db::Error&) {
      file_ = nullptr;  // no data folder, no cache
    }
    return file_;
  }

 private:
  void Map(const std::filesystem::path& path) {
    if (!file_ || path != path_ || file_->IsDeleted()) {
      file_ = DeviceCacheFile::Open(path);
      path_ = path;
    }
  }

  std::mutex mutex_;
  std::filesystem::path path_;
  std::shared_ptr<DeviceCacheFile> file_;
};

OpenCache& TheOpenCache() {
  static OpenCache cache;
  return cache;
}

}  // namespace

void ShmDBCache::BatUpdateIOModule(int zrId, std::list<IOModStsInfo>& changed) {
  std::vector<ShmDBCacheEntry> values;
  for (const IOModStsInfo& info : changed) values.push_back({info.id, zrId, info.status, 0});
  qv::db::OnCommit([file = TheOpenCache().Get(), values = std::move(values)] {
    if (file && file->Update(values)) return;
    QVPrintf(LOG_TYPE_DIAGNOSTIC, "DATABASE", "ERR", __FILE__, __LINE__, "BatUpdateIOModule",
             "Failed to enter all modules in the device cache: the file cannot grow\n");
  });
}

void ShmDBCache::RemoveIOModules(int zrId) {
  qv::db::OnCommit([file = TheOpenCache().Get(), zrId] {
    if (file && file->Forget(zrId)) return;
    QVPrintf(LOG_TYPE_DIAGNOSTIC, "DATABASE", "ERR", __FILE__, __LINE__, "RemoveIOModules",
             "Failed to forget the modules of server [%d] in the device cache: it cannot be mapped\n", zrId);
  });
}

ShmDBCache* QVShmDBCacheAt() {
  static ShmDBCache cache;
  return TheOpenCache().Get() ? &cache : nullptr;
}

bool ShmDBCacheExists() {
  std::error_code unreadable;  // what cannot be looked at cannot be mapped either
  return qv::db::IsOpen() && std::filesystem::exists(OpenCache::Path(), unreadable);
}
