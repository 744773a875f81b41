/// The shared-memory device cache: the present status of devices, for processes that look at it often and cannot ask
/// the database each time.
///
/// It is the file `device-cache.shm` in the data folder, mapped by every process that uses it. Layout, in the byte
/// order of the machine: a `ShmDBCacheHeader`, then `capacity` times a `ShmDBCacheEntry`, of which the first `count`
/// are in use, in no order. A host id of 0 marks a free entry, which may be used for another module later. The cache
/// holds the modules whose status has changed since it was made; ask the database about others.
///
/// A reader maps the file and
///
///   1. checks `magic` and `layout`;
///   2. reads `sequence` (acquire); while it is odd, a writer is at work;
///   3. reads `count`; when so many entries reach beyond what it has mapped, it maps the file again: a file only grows;
///   4. reads what it wants of the entries, every number with one load;
///   5. reads `sequence` again (behind an acquire fence); when it is another one, goes back to 2.
///
/// A writer that died leaves an odd `sequence`, which the next writer repairs. Entries are written so that each one is
/// whole at any moment, so a reader that waited in vain may use what it sees.
///
/// Writers hold a lock on the file (`flock`) from before they look at it until they are done. They set up an empty
/// file and never access memory beyond the size that the file had. The next writer replaces a missing or damaged file;
/// a file of another layout stays as it is. A reader that keeps a file mapped finds out by the inode number that it was
/// replaced. The file must not be made shorter: that kills (SIGBUS) processes that read it.
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

/// The cache as its writers see it. Lives as long as the process. A change that cannot be made is left out, after one
/// log line. Thread-safe.
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

/// The cache of the open data folder; its file is made on first use, and made anew if it is damaged. Thread-safe.
/// @return null if the file cannot be mapped, or has another layout
ShmDBCache* QVShmDBCacheAt();

/// Whether the open data folder has a cache already; asking makes none.
bool ShmDBCacheExists();
