#include "shmdbcache.h"

#include <exception>
#include <memory>

#include "db/database.h"
#include "devicestatus.h"
#include "log/message.h"
#include "shm/devicecachefile.h"

using qv::shm::DeviceCacheChanges;
using qv::shm::DeviceCacheFile;

namespace {

std::filesystem::path Path() { return qv::db::DataFolder() / "device-cache.shm"; }

/// What a transaction changes in the cache, made all at once when the last of the actions that belong to it is gone.
/// They are run when the transaction commits; those of a step that went back are gone without that.
class Changes {
 public:
  Changes() : path_(Path()) {}
  ~Changes() {
    if (to_make_.modules.empty() && to_make_.servers.empty()) return;
    try {
      DeviceCacheFile cache(path_);
      if (cache && cache.Apply(to_make_)) return;
    } catch (const std::exception&) {  // no memory
    }
    qv::log::Error("Failed to bring the device cache up to date: it cannot be mapped, or cannot grow");
  }
  Changes(const Changes&) = delete;
  Changes& operator=(const Changes&) = delete;

  /// Has `add` add to the changes when the open transaction commits, or at once without one.
  template <class Add>
  static void Queue(Add add) {
    std::shared_ptr<Changes> changes = OfThisTransaction().lock();
    if (!changes) OfThisTransaction() = changes = std::make_shared<Changes>();
    qv::db::OnCommit([changes = std::move(changes), add = std::move(add)] { add(changes->to_make_); });
  }
  /// Whether the open transaction has changes already.
  static bool AreQueued() { return !OfThisTransaction().expired(); }

 private:
  static std::weak_ptr<Changes>& OfThisTransaction() {
    static thread_local std::weak_ptr<Changes> changes;
    return changes;
  }

  std::filesystem::path path_;
  DeviceCacheChanges to_make_;
};

}  // namespace

void ShmDBCache::BatUpdateIOModule(int zrId, std::list<IOModStsInfo>& changed) {
  Changes::Queue([zrId, changed](DeviceCacheChanges& changes) {
    for (const IOModStsInfo& info : changed) changes.modules[info.id] = {info.id, zrId, info.status, 0};
  });
}

void ShmDBCache::RemoveIOModule(int id) {
  Changes::Queue([id](DeviceCacheChanges& changes) { changes.modules[id] = {}; });
}

void ShmDBCache::RemoveIOModules(int zrId) {
  Changes::Queue([zrId](DeviceCacheChanges& changes) {
    std::erase_if(changes.modules, [&](const auto& module) { return module.second.owner_zr_id == zrId; });
    changes.servers.insert(zrId);
  });
}

ShmDBCache* QVShmDBCacheAt() {
  static ShmDBCache cache;
  if (Changes::AreQueued()) return &cache;  // it has just been looked at
  try {
    return DeviceCacheFile(Path()) ? &cache : nullptr;
  } catch (const qv::db::Error&) {
    return nullptr;  // no data folder, no cache
  }
}

bool ShmDBCacheExists() {
  std::error_code unreadable;  // what cannot be looked at cannot be mapped either
  return qv::db::IsOpen() && std::filesystem::exists(Path(), unreadable);
}
