/// The file of the shared-memory device cache (`include/shmdbcache.h` has its layout and its rules).
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <set>

#include "../files/descriptor.h"
#include "shmdbcache.h"

namespace qv::shm {

/// What is to become of entries.
struct DeviceCacheChanges {
  /// By host id; one without a host id clears the module's entry.
  std::map<std::int32_t, ShmDBCacheEntry> modules = {};
  /// Slaves. The entries of their other modules are cleared.
  std::set<std::int32_t> servers = {};
};

/// The cache locked and mapped for writing, for a scope: writers of several threads and processes follow one another.
/// Nothing is kept from one scope to the next, so whatever became of the file in between is found as it is. How many
/// entries there are is read once: a process that writes without the lock can spoil them, but leads nowhere else.
class DeviceCacheFile {
 public:
  /// Maps the file, which is made (mode 0600) when it is missing or empty. False then when that failed, or when the
  /// file is none of this layout; nothing else may be called.
  explicit DeviceCacheFile(const std::filesystem::path& path);
  ~DeviceCacheFile();
  DeviceCacheFile(const DeviceCacheFile&) = delete;
  DeviceCacheFile& operator=(const DeviceCacheFile&) = delete;
  explicit operator bool() const { return capacity_ > 0; }

  /// Makes the changes; a reader sees all of them or none.
  /// @return false when the file cannot grow: what has room is entered, the rest is left out
  bool Apply(const DeviceCacheChanges& changes);

 private:
  class WriteSection;

  bool Lock();
  bool Map();
  void Unmap() noexcept;
  bool Start();
  bool Grow();
  void Write(std::uint32_t place, const ShmDBCacheEntry& value);
  ShmDBCacheHeader& header() const { return *static_cast<ShmDBCacheHeader*>(memory_); }
  ShmDBCacheEntry& entry(std::uint32_t place) const;

  files::FileDescriptor file_;
  void* memory_ = nullptr;
  std::size_t size_ = 0;        ///< of the mapping
  std::uint32_t capacity_ = 0;  ///< entries that lie in the mapping; 0: this is no cache
  std::uint32_t count_ = 0;     ///< of them, those in use
};

}  // namespace qv::shm
