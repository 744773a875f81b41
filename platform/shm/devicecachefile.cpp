#include "devicecachefile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

namespace qv::shm {
namespace {

constexpr std::uint32_t kFirstCapacity = 252;  ///< with the header, the file is one page
constexpr std::uint32_t kMaxCapacity = std::uint32_t{1} << 24;

std::size_t SizeFor(std::uint32_t capacity) {
  return sizeof(ShmDBCacheHeader) + std::size_t{capacity} * sizeof(ShmDBCacheEntry);
}

/// The lock among processes, for a scope.
class FileLock {
 public:
  explicit FileLock(int file) : file_(file) {
    do {
      held_ = flock(file_, LOCK_EX) == 0;
    } while (!held_ && errno == EINTR);
  }
  ~FileLock() {
    if (held_) flock(file_, LOCK_UN);
  }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;
  bool held() const { return held_; }

 private:
  int file_;
  bool held_ = false;
};

template <class T>
T Load(T& place) {
  return std::atomic_ref<T>(place).load(std::memory_order_relaxed);
}
template <class T>
void Store(T& place, T value) {
  std::atomic_ref<T>(place).store(value, std::memory_order_relaxed);
}

/// Makes readers wait, for a scope.
class WriteSection {
 public:
  explicit WriteSection(ShmDBCacheHeader& header) : sequence_(header.sequence) {
    odd_ = sequence_.load(std::memory_order_relaxed) | 1;  // odd already when a writer died
    sequence_.store(odd_, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_release);
  }
  ~WriteSection() { sequence_.store(odd_ + 1, std::memory_order_release); }
  WriteSection(const WriteSection&) = delete;
  WriteSection& operator=(const WriteSection&) = delete;

 private:
  std::atomic_ref<std::uint64_t> sequence_;
  std::uint64_t odd_;
};

}  // namespace

std::unique_ptr<DeviceCacheFile> DeviceCacheFile::Open(const std::filesystem::path& path) {
  // Without waiting: a pipe or a device at this place must not hold the caller up.
  db::FileDescriptor file(
      open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, S_IRUSR | S_IWUSR));
  if (!file) return nullptr;
  auto cache = std::make_unique<DeviceCacheFile>(std::move(file));
  const FileLock lock(cache->file_.get());
  if (!lock.held() || !cache->Start()) return nullptr;
  return cache;
}

DeviceCacheFile::~DeviceCacheFile() { Unmap(); }

bool DeviceCacheFile::IsDeleted() const {
  struct stat status {};
  return fstat(file_.get(), &status) != 0 || status.st_nlink == 0;
}

bool DeviceCacheFile::Update(std::span<const ShmDBCacheEntry> values) {
  const std::lock_guard guard(mutex_);
  const FileLock lock(file_.get());
  if (!lock.held() || !Map() || !IsSound()) return false;
  IndexNewEntries();
  const auto is_new = [&](const ShmDBCacheEntry& value) { return !index_.contains(value.host_id); };
  const auto added = static_cast<std::size_t>(std::count_if(values.begin(), values.end(), is_new));
  bool has_room = true;
  std::size_t capacity = header().capacity;
  while (capacity < header().count + added) capacity *= 2;
  if (capacity > header().capacity) {
    has_room = capacity <= kMaxCapacity && Grow(static_cast<std::uint32_t>(capacity));
  }
  const WriteSection section(header());
  for (const ShmDBCacheEntry& value : values) {
    if (has_room || !is_new(value)) Write(value);
  }
  return has_room;
}

bool DeviceCacheFile::Forget(std::int32_t owner_zr_id) {
  const std::lock_guard guard(mutex_);
  const FileLock lock(file_.get());
  if (!lock.held() || !Map() || !IsSound()) return false;
  const WriteSection section(header());
  for (std::uint32_t i = 0; i < header().count; ++i) {
    ShmDBCacheEntry& held = entry(i);
    if (held.owner_zr_id != owner_zr_id) continue;
    index_.erase(held.host_id);
    Store(held.host_id, 0);
    Store(held.owner_zr_id, 0);
    Store(held.status, 0);
  }
  return true;
}

/// With the file locked: makes the cache ready, or finds that it is none.
bool DeviceCacheFile::Start() {
  struct stat status {};
  if (fstat(file_.get(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  if (status.st_size == 0) {
    // Blocks, not a hole: writing into a mapped hole kills the process when the disk is full.
    if (posix_fallocate(file_.get(), 0, static_cast<off_t>(SizeFor(kFirstCapacity))) != 0) {
      static_cast<void>(ftruncate(file_.get(), 0) == 0);
      return false;
    }
  }
  if (!Map()) return false;
  ShmDBCacheHeader& head = header();
  if (head.magic == 0 && head.layout == 0 && head.capacity == 0) {
    head.layout = ShmDBCacheHeader::kLayout;
    head.capacity = kFirstCapacity;
    std::atomic_ref(head.magic).store(ShmDBCacheHeader::kMagic, std::memory_order_release);
  }
  return IsSound();
}

/// Whether the mapped memory is a cache whose entries all lie in it.
bool DeviceCacheFile::IsSound() {
  const ShmDBCacheHeader& head = header();
  return head.magic == ShmDBCacheHeader::kMagic && head.layout == ShmDBCacheHeader::kLayout && head.capacity > 0 &&
         head.count <= head.capacity && SizeFor(head.capacity) <= size_;
}

/// Maps the whole file, as far as another process may have made it grow.
bool DeviceCacheFile::Map() {
  struct stat status {};
  if (fstat(file_.get(), &status) != 0 || status.st_size < static_cast<off_t>(SizeFor(kFirstCapacity))) return false;
  const auto size = static_cast<std::size_t>(status.st_size);
  if (memory_ != nullptr && size == size_) return true;
  void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file_.get(), 0);
  if (memory == MAP_FAILED) return false;
  Unmap();
  memory_ = memory;
  size_ = size;
  return true;
}

void DeviceCacheFile::Unmap() noexcept {
  if (memory_ != nullptr) munmap(memory_, size_);
  memory_ = nullptr;
}

bool DeviceCacheFile::Grow(std::uint32_t capacity) {
  if (posix_fallocate(file_.get(), 0, static_cast<off_t>(SizeFor(capacity))) != 0 || !Map()) return false;
  const WriteSection section(header());
  Store(header().capacity, capacity);
  return true;
}

void DeviceCacheFile::IndexNewEntries() {
  for (; indexed_ < header().count; ++indexed_) index_.emplace(entry(indexed_).host_id, indexed_);
}

void DeviceCacheFile::Write(const ShmDBCacheEntry& value) {
  const auto [place, is_new] = index_.try_emplace(value.host_id, indexed_);
  ShmDBCacheEntry& held = entry(place->second);
  Store(held.owner_zr_id, value.owner_zr_id);
  Store(held.status, value.status);
  if (!is_new) return;
  Store(held.host_id, value.host_id);
  ++indexed_;
  std::atomic_ref(header().count).store(indexed_, std::memory_order_release);
}

ShmDBCacheEntry& DeviceCacheFile::entry(std::uint32_t index) const {
  return reinterpret_cast<ShmDBCacheEntry*>(static_cast<char*>(memory_) + sizeof(ShmDBCacheHeader))[index];
}

}  // namespace qv::shm
