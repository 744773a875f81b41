/// The shared-memory device cache: the present status of devices, for processes that look at it often and cannot ask
/// the database each time.
///
/// It is the file `device-cache.shm` in the data folder, mapped by every process that uses it. Layout, in the byte
/// order of the machine: a `ShmDBCacheHeader`, then `capacity` times a `ShmDBCacheEntry`, of which the first `count`
/// are in use, in no order; one with the host id 0 speaks of no module, and may come to speak of another one. It holds
/// the modules whose status has changed since it was made; of others, ask the database.
///
/// A reader maps the file and
///
///   1. checks `magic` and `layout`;
///   2. reads `sequence` (acquire); while it is odd, a writer is at work;
///   3. reads `count`; when so many entries reach beyond what it has mapped, it maps the file again: a file only grows;
///   4. reads what it wants of the entries, every number with one load;
///   5. reads `sequence` again (behind an acquire fence); when it is another one, goes back to 2.
///
/// A writer that died leaves an odd `sequence`, which the next writer repairs; entries are written so that each one is
/// whole at any moment, so a reader that waited in vain may use what it sees.
///
/// Writers hold a lock on the file (`flock`) from before they look at it until they are done. They set up a missing or
/// empty file, leave alone what is no cache, and never touch memory beyond the file as they found it, whatever is in
/// it. To have the cache made anew, delete or replace the file; a reader that keeps it mapped sees by its inode number
/// that the name stands for another one. Nobody may make it shorter: that kills (SIGBUS) who looks at it just then.
#pragma once

#include <cstdint>
#include <list>

struct IOModStsInfo;

struct ShmDBCacheHeader {
  static constexpr std::uint32_t kMagic = 0x43445651;  ///< "QVDC" on a little-endian machine
  static constexpr std::uint32_t kLayout = 1;

  std::uint32_t magic;
  std::uint32_t layout;
  std::uint32_t capacity;
  std::uint32_t count;
  std::uint64_t sequence;  ///< odd while a writer is at work
  std::uint64_t reserved[5];
};
static_assert(sizeof(ShmDBCacheHeader) == 64);

struct ShmDBCacheEntry {
  std::int32_t host_id;      ///< of an I/O module
  std::int32_t owner_zr_id;  ///< the slave that it is on
  std::int32_t status;
  std::int32_t reserved;
};
static_assert(sizeof(ShmDBCacheEntry) == 16);

/// The cache as its writers see it. Lives as long as the process. What cannot be done when the time comes is left
/// undone, after one log line.
class ShmDBCache {
 public:
  /// Enters the status of I/O modules of slave `zrId`: when the open unit of work commits, or at once without one.
  /// What has no room because the file cannot grow is left out.
  void BatUpdateIOModule(int zrId, std::list<IOModStsInfo>& changed);
  /// Forgets I/O module `id`: when the open unit of work commits, or at once without one.
  void RemoveIOModule(int id);
  /// Forgets the I/O modules of slave `zrId`: when the open unit of work commits, or at once without one.
  void RemoveIOModules(int zrId);
};

/// The cache of the open data folder; its file is made on first use. Null when it cannot be mapped, or when what is
/// there is no cache of this layout. May be called from any thread.
ShmDBCache* QVShmDBCacheAt();

/// Whether the open data folder has a cache already; asking makes none.
bool ShmDBCacheExists();
