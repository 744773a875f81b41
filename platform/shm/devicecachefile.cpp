#include "shm/devicecachefile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <map>
#include <vector>

namespace qv::shm {
namespace {

constexpr std::uint32_t kFirstCapacity = 252;  ///< with the header, the file is one page
constexpr std::uint32_t kMaxCapacity = std::uint32_t{1} << 24;

std::size_t SizeFor(std::uint32_t capacity) {
  return sizeof(ShmDBCacheHeader) + std::size_t{capacity} * sizeof(ShmDBCacheEntry);
}

template <class T>
T Load(T& place) {
  return std::atomic_ref<T>(place).load(std::memory_order_relaxed);
}
/// Behind all that was stored before, so that a process that dies leaves no gap.
template <class T>
void Store(T& place, T value) {
  std::atomic_ref<T>(place).store(value, std::memory_order_release);
}

}  // namespace

/// Makes readers wait, for a scope, in which the file may be mapped anew.
class DeviceCacheFile::WriteSection {
 public:
  explicit WriteSection(DeviceCacheFile& file) : file_(file) {
    odd_ = Load(file_.header().sequence) | 1;  // odd already when a writer died
    Store(file_.header().sequence, odd_);
  }
  ~WriteSection() { Store(file_.header().sequence, odd_ + 1); }
  WriteSection(const WriteSection&) = delete;
  WriteSection& operator=(const WriteSection&) = delete;

 private:
  DeviceCacheFile& file_;
  std::uint64_t odd_;
};

DeviceCacheFile::DeviceCacheFile(const std::filesystem::path& path) {
  // Once more for a damaged file, and for each time that another writer replaced the file before this one locked it.
  for (int attempts_left = 10; attempts_left > 0; --attempts_left) {
    switch (Open(path)) {
      case Found::Cache:
        return;
      case Found::Damage:
        if (unlink(path.c_str()) != 0) return;
        break;
      case Found::Replaced:
        break;
      case Found::Nothing:
        return;
    }
  }
}

DeviceCacheFile::~DeviceCacheFile() {
  Unmap();
  // Closing alone would not do while a process that was forked meanwhile has the file too.
  if (file_) flock(file_.get(), LOCK_UN);
}

bool DeviceCacheFile::Apply(const DeviceCacheChanges& changes) {
  std::map<std::int32_t, ShmDBCacheEntry> missing = changes.modules;
  std::vector<std::uint32_t> cleared;
  const WriteSection section(*this);
  for (std::uint32_t place = 0; place < count_; ++place) {
    if (const auto found = missing.find(Load(entry(place).host_id)); found != missing.end()) {
      Write(place, found->second);
      missing.erase(found);
    } else if (changes.servers.contains(Load(entry(place).owner_zr_id))) {
      Write(place, {});
    }
    if (Load(entry(place).host_id) == 0) cleared.push_back(place);
  }
  for (const auto& [host_id, value] : missing) {
    if (value.host_id == 0) continue;
    if (!cleared.empty()) {
      Write(cleared.back(), value);
      cleared.pop_back();
      continue;
    }
    if (count_ == capacity_ && !Grow()) return false;
    Write(count_, value);
    Store(header().count, ++count_);
  }
  return true;
}

DeviceCacheFile::Found DeviceCacheFile::Open(const std::filesystem::path& path) {
  // Without waiting: a pipe or a device at this place must not hold the caller up.
  file_ = files::FileDescriptor(
      open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, S_IRUSR | S_IWUSR));
  if (!file_ || !Lock()) return Found::Nothing;
  struct stat file {};
  struct stat named {};
  if (fstat(file_.get(), &file) != 0 || !S_ISREG(file.st_mode)) return Found::Nothing;
  if (lstat(path.c_str(), &named) != 0 || named.st_ino != file.st_ino) return Found::Replaced;
  if (file.st_size == 0 && !SetUp()) return Found::Nothing;
  if (!Map()) return Found::Nothing;
  if (size_ < SizeFor(kFirstCapacity) || header().magic != ShmDBCacheHeader::kMagic) return Found::Damage;
  if (header().layout != ShmDBCacheHeader::kLayout) return Found::Nothing;
  const std::uint32_t capacity = Load(header().capacity);
  const std::uint32_t count = Load(header().count);
  if (capacity == 0 || capacity > kMaxCapacity || count > capacity || SizeFor(capacity) > size_) return Found::Damage;
  capacity_ = capacity;
  count_ = count;
  return Found::Cache;
}

bool DeviceCacheFile::Lock() {
  int result = 0;
  do {
    result = flock(file_.get(), LOCK_EX);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

/// Gives the empty file its header and room for the first entries. Blocks, not a hole: writing into a mapped hole kills
/// the process when the disk is full.
bool DeviceCacheFile::SetUp() {
  ShmDBCacheHeader start{};
  start.magic = ShmDBCacheHeader::kMagic;
  start.layout = ShmDBCacheHeader::kLayout;
  start.capacity = kFirstCapacity;
  const bool done = posix_fallocate(file_.get(), 0, static_cast<off_t>(SizeFor(kFirstCapacity))) == 0 &&
                    pwrite(file_.get(), &start, sizeof start, 0) == sizeof start;
  if (!done) static_cast<void>(ftruncate(file_.get(), 0) == 0);
  return done;
}

/// Maps the whole file.
bool DeviceCacheFile::Map() {
  struct stat status {};
  if (fstat(file_.get(), &status) != 0) return false;
  const auto size = static_cast<std::size_t>(status.st_size);
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

/// Makes room for twice as many entries.
bool DeviceCacheFile::Grow() {
  const std::uint32_t capacity = capacity_ * 2;
  if (capacity > kMaxCapacity) return false;
  if (posix_fallocate(file_.get(), 0, static_cast<off_t>(SizeFor(capacity))) != 0 || !Map()) return false;
  if (size_ < SizeFor(capacity)) return false;
  capacity_ = capacity;
  Store(header().capacity, capacity);
  return true;
}

/// The entry is whole whenever it has a host id.
void DeviceCacheFile::Write(std::uint32_t place, const ShmDBCacheEntry& value) {
  ShmDBCacheEntry& held = entry(place);
  if (Load(held.host_id) != value.host_id) Store(held.host_id, 0);
  Store(held.owner_zr_id, value.owner_zr_id);
  Store(held.status, value.status);
  Store(held.host_id, value.host_id);
}

ShmDBCacheEntry& DeviceCacheFile::entry(std::uint32_t place) const {
  return reinterpret_cast<ShmDBCacheEntry*>(static_cast<char*>(memory_) + sizeof(ShmDBCacheHeader))[place];
}

}  // namespace qv::shm
