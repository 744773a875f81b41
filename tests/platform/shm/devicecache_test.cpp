#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "db/database.h"
#include "iomodule.h"
#include "shm/devicecachefile.h"
#include "shmdbcache.h"
#include "support/hosttest.h"
#include "support/scratch.h"

namespace {

using qv::shm::DeviceCacheChanges;
using qv::shm::DeviceCacheFile;
using support::EndOf;
using support::StartChild;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

/// A reader elsewhere that knows nothing but the layout and follows the steps for readers.
class Reader {
 public:
  explicit Reader(const std::string& path) : file_(open(path.c_str(), O_RDONLY)) {
    Map();
    EXPECT_EQ(std::memcmp(bytes_, "QVDC", 4), 0);
    EXPECT_EQ(Number<std::uint32_t>(4), 1U);
  }
  ~Reader() {
    munmap(bytes_, size_);
    close(file_);
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  /// Host id to status.
  std::map<int, int> Look() {
    for (;; std::this_thread::yield()) {
      std::map<int, int> found;
      const auto sequence = Number<std::uint64_t>(16, std::memory_order_acquire);
      if (sequence % 2 != 0) continue;
      const auto capacity = Number<std::uint32_t>(8);
      const auto count = Number<std::uint32_t>(12);
      if (64 + capacity * 16 > size_) {
        Map();
        continue;
      }
      bool twice = false;
      for (std::uint32_t at = 64; at < 64 + count * 16; at += 16) {
        const int id = Number<std::int32_t>(at);
        if (id != 0) twice = !found.emplace(id, Number<std::int32_t>(at + 8)).second || twice;
      }
      std::atomic_thread_fence(std::memory_order_acquire);
      if (Number<std::uint64_t>(16) != sequence) continue;
      EXPECT_FALSE(twice);
      EXPECT_LE(count, capacity);
      return found;
    }
  }

 private:
  void Map() {
    if (bytes_ != nullptr) munmap(bytes_, size_);
    struct stat status {};
    EXPECT_EQ(fstat(file_, &status), 0);
    size_ = static_cast<std::size_t>(status.st_size);
    bytes_ = static_cast<char*>(mmap(nullptr, size_, PROT_READ, MAP_SHARED, file_, 0));
  }
  template <class T>
  T Number(std::size_t at, std::memory_order order = std::memory_order_relaxed) {
    return std::atomic_ref<T>(*reinterpret_cast<T*>(bytes_ + at)).load(order);
  }

  int file_;
  char* bytes_ = nullptr;
  std::size_t size_ = 0;
};

class DeviceCache : public support::HostTest {
 protected:
  std::string path() const { return folder() / "device-cache.shm"; }
  std::map<int, int> Read() const { return Reader(path()).Look(); }
  static void Enter(std::list<IOModStsInfo> changed) {
    ShmDBCache* cache = QVShmDBCacheAt();
    ASSERT_NE(cache, nullptr);
    cache->BatUpdateIOModule(7, changed);
  }
  bool Apply(const DeviceCacheChanges& changes) const {
    DeviceCacheFile cache(path());
    return cache && cache.Apply(changes);
  }
  void ApplyElsewhere(const DeviceCacheChanges& changes) const {
    EXPECT_EQ(EndOf(StartChild([&] { return Apply(changes) ? 0 : 1; })), 0);
  }
};

TEST_F(DeviceCache, ShowsWhatIsCommitted) {
  Enter({{1, 10}, {2, 20}, {1, 11}});
  EXPECT_THAT(Read(), ElementsAre(Pair(1, 11), Pair(2, 20)));
  {
    qv::db::UnitOfWork work;
    Enter({{2, 21}, {3, 30}});
    {
      const qv::db::AllOrNothing given_up;
      Enter({{4, 40}});
    }
    EXPECT_THAT(Read(), ElementsAre(Pair(1, 11), Pair(2, 20))) << "nothing is committed yet";
    work.Commit();
  }
  EXPECT_THAT(Read(), ElementsAre(Pair(1, 11), Pair(2, 21), Pair(3, 30)));
  {
    const qv::db::UnitOfWork given_up;
    Enter({{1, 12}});
  }
  EXPECT_THAT(Read(), ElementsAre(Pair(1, 11), Pair(2, 21), Pair(3, 30)));
  std::filesystem::remove(path());
  Enter({{5, 50}});
  EXPECT_THAT(Read(), ElementsAre(Pair(5, 50))) << "a deleted file is made anew";
}

TEST_F(DeviceCache, GrowsWithItsEntries) {
  std::list<IOModStsInfo> modules;
  for (int id = 1; id <= 5000; ++id) modules.push_back({id, id + 1});
  Enter(modules);
  const std::map<int, int> found = Read();
  EXPECT_EQ(found.size(), modules.size());
  for (const auto& [id, status] : found) EXPECT_EQ(status, id + 1);
}

TEST_F(DeviceCache, RepairsWhatADeadWriterLeft) {
  Enter({{1, 10}});
  std::fstream(path(), std::ios::in | std::ios::out | std::ios::binary).seekp(16).write("\x07", 1);
  Enter({{1, 11}});
  EXPECT_THAT(Read(), ElementsAre(Pair(1, 11)));
}

TEST_F(DeviceCache, RefusesWhatIsNoCache) {
  std::string good(4096, '\0');
  Enter({{1, 10}});
  std::ifstream(path(), std::ios::binary).read(good.data(), 4096);
  const auto with = [&](std::size_t at, const std::string& bytes) {
    return std::string(good).replace(at, bytes.size(), bytes);
  };
  for (const std::string& content : {std::string("text"), with(0, "X"), with(4, "\2"), with(9, "\7"), with(13, "\7"),
                                     good.substr(0, 4000), std::string(4096, 'x')}) {
    std::ofstream(path(), std::ios::binary) << good;
    Enter({{1, 11}});
    std::ofstream(path(), std::ios::binary) << content;  // over the file in use
    EXPECT_EQ(QVShmDBCacheAt(), nullptr);
    EXPECT_EQ(std::filesystem::file_size(path()), content.size()) << "it is left as it is";
  }
  for (const std::string& unfinished : {std::string(), std::string(4096, '\0').replace(4, 1, "\1")}) {
    std::ofstream(path(), std::ios::binary) << unfinished;
    Enter({{1, 12}});
    EXPECT_THAT(Read(), ElementsAre(Pair(1, 12)));
  }
}

TEST_F(DeviceCache, FollowsWhatOtherProcessesMadeOfIt) {
  std::list<IOModStsInfo> full;
  for (int id = 1; id <= 252; ++id) full.push_back({id, id});
  Enter(full);
  std::filesystem::resize_file(path(), 0);
  ApplyElsewhere({.modules = {{1000, {1000, 8, 1, 0}}}});
  Enter({{1, 10}, {2, 20}});
  EXPECT_THAT(Read(), ElementsAre(Pair(1, 10), Pair(2, 20), Pair(1000, 1)));
  ApplyElsewhere({.servers = {7}});
  EXPECT_THAT(Read(), ElementsAre(Pair(1000, 1)));
  Enter({{2, 21}, {3, 30}, {4, 40}});
  EXPECT_THAT(Read(), ElementsAre(Pair(2, 21), Pair(3, 30), Pair(4, 40), Pair(1000, 1)));
}

TEST_F(DeviceCache, ForgetsWhatIsDeleted) {
  Sql("INSERT INTO iomodule (id,owner_zr_id,id_on_rec_server) VALUES (1,7,1),(2,7,2),(3,7,3)");
  const auto remove = [](int id) {
    IOModule module;
    module.SetId(id);
    EXPECT_EQ(module.Delete(), 0);
  };
  remove(3);
  EXPECT_FALSE(std::filesystem::exists(path())) << "none is made for it";
  Enter({{1, 10}, {2, 20}});
  {
    const qv::db::UnitOfWork given_up;
    remove(1);
  }
  {
    qv::db::UnitOfWork work;
    Enter({{1, 11}, {3, 30}});
    remove(1);
    EXPECT_THAT(Read(), ElementsAre(Pair(1, 10), Pair(2, 20)));
    work.Commit();
  }
  EXPECT_THAT(Read(), ElementsAre(Pair(2, 20), Pair(3, 30)));
  {
    qv::db::UnitOfWork work;
    Enter({{4, 40}});
    QVShmDBCacheAt()->RemoveIOModules(7);
    Enter({{2, 21}});
    work.Commit();
  }
  EXPECT_THAT(Read(), ElementsAre(Pair(2, 21)));
  remove(2);
  EXPECT_THAT(Read(), IsEmpty());
}

TEST_F(DeviceCache, ShowsAReaderWholeChangesOfSeveralProcesses) {
  constexpr int kModules = 300;  // of each of two servers: the file grows twice
  constexpr int kRounds = 300;
  Enter({{999, 0}});
  auto held = std::make_unique<DeviceCacheFile>(path());
  std::vector<pid_t> writers;
  for (const int server : {1, 2}) {
    writers.push_back(StartChild([&] {
      for (int round = 1; round <= kRounds; ++round) {
        DeviceCacheChanges changes;
        for (int id = 1000 * server; id < 1000 * server + kModules; ++id) changes.modules[id] = {id, server, round, 0};
        if (!Apply(changes) || (round % 2 == 1 && !Apply({.servers = {server}}))) return 1;
      }
      return 0;
    }));
  }
  Reader reader(path());
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_THAT(reader.Look(), ElementsAre(Pair(999, 0))) << "the writers wait for this one";
  held.reset();
  int looks = 0;
  int torn = 0;
  for (const pid_t writer : writers) {
    siginfo_t ended{};
    while (waitid(P_PID, static_cast<id_t>(writer), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid == 0) {
      const std::map<int, int> found = reader.Look();
      ++looks;
      for (const int server : {1, 2}) {
        const auto first = found.lower_bound(1000 * server);
        const auto last = found.lower_bound(1000 * (server + 1));
        if (first == last) continue;
        const auto is_whole = [&](const auto& entry) { return entry.second == first->second; };
        if (std::distance(first, last) != kModules || !std::all_of(first, last, is_whole)) ++torn;
      }
    }
    EXPECT_EQ(EndOf(writer), 0);
  }
  EXPECT_EQ(torn, 0) << "of " << looks;
  EXPECT_GT(looks, 0);
  std::map<int, int> last = {{999, 0}};
  for (int i = 0; i < kModules; ++i) last[1000 + i] = last[2000 + i] = kRounds;
  EXPECT_EQ(reader.Look(), last);
  EXPECT_EQ(std::filesystem::file_size(path()), 64 + 4 * 252 * 16) << "the places of what was forgotten are used again";
}

}  // namespace
