/// The file of the shared-memory device cache (`include/shmdbcache.h` has its layout and its rules).
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <set>

#include "files/descriptor.h"
#include "shmdbcache.h"

namespace qv::shm {

/// What is to become of entries.
struct DeviceCacheChanges {
  /// By host id; one without a host id clears the module's entry.
  std::map<std::int32_t, ShmDBCacheEntry> modules = {};
  /// Slaves. The entries of their other modules are cleared.
  std::set<std::int32_t> servers = {};
};

/// The cache, locked and mapped for writing as long as this object lives. Writers of all threads and processes follow
/// one another. Each of them reads the file anew, and checks how many entries there are once: a process that writes
/// without the lock can spoil entries, but leads no writer beyond the mapping.
class DeviceCacheFile {
 public:
  /// Maps the file. A missing file is made (mode 0600), an empty one is set up, a damaged one is replaced by a new one.
  /// Converts to false if that failed, or if the file is no regular one or has another layout; nothing else may be
  /// called then.
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
  enum class Found { Cache, Damage, Replaced, Nothing };

  Found Open(const std::filesystem::path& path);
  bool Lock();
  bool SetUp();
  bool Map();
  void Unmap() noexcept;
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
