/// The file of the shared-memory device cache (`include/shmdbcache.h` has its layout and its rules).
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <span>
#include <unordered_map>
#include <utility>

#include "../db/filedescriptor.h"
#include "shmdbcache.h"

namespace qv::shm {

/// The cache mapped for writing. Every function may be called from any thread; writers of several processes follow one
/// another through a lock on the file.
class DeviceCacheFile {
 public:
  /// Maps the file, which is made (mode 0600) when it is missing. Null when that fails, or when the file is none of
  /// this layout.
  static std::unique_ptr<DeviceCacheFile> Open(const std::filesystem::path& path);
  /// For `Open`: a file that is not mapped yet.
  explicit DeviceCacheFile(db::FileDescriptor file) : file_(std::move(file)) {}
  ~DeviceCacheFile();
  DeviceCacheFile(const DeviceCacheFile&) = delete;
  DeviceCacheFile& operator=(const DeviceCacheFile&) = delete;

  /// Whether the file has been deleted since it was mapped, so that nobody else can find it any more.
  bool IsDeleted() const;
  /// Enters the values: the entry with the same host id is overwritten, or a new one is made.
  /// @return false when the file cannot grow: what has an entry is entered, the rest is left out
  bool Update(std::span<const ShmDBCacheEntry> values);
  /// Clears the entries of that owner. Their places are not used again: other writers know them by their number.
  /// @return false when the file cannot be mapped
  bool Forget(std::int32_t owner_zr_id);

 private:
  bool Start();
  bool IsSound();
  bool Map();
  void Unmap() noexcept;
  bool Grow(std::uint32_t capacity);
  void IndexNewEntries();
  void Write(const ShmDBCacheEntry& value);
  ShmDBCacheHeader& header() const { return *static_cast<ShmDBCacheHeader*>(memory_); }
  ShmDBCacheEntry& entry(std::uint32_t index) const;

  std::mutex mutex_;
  db::FileDescriptor file_;
  void* memory_ = nullptr;
  std::size_t size_ = 0;                                   ///< of the mapping
  std::unordered_map<std::int32_t, std::uint32_t> index_;  ///< host id to entry
  std::uint32_t indexed_ = 0;                              ///< entries that are in the index
};

}  // namespace qv::shm
