#include <filesystem>
#include <fstream>
#include <list>
#include <map>
#include <thread>

#include "db/database.h"
#include "iomodule.h"
#include "shm/devicecachefile.h"
#include "shmdbcache.h"
#include "support/hoststate.h"
#include "support/hosttest.h"

namespace {

using testing::ElementsAre;
using testing::Pair;

class DeviceCache : public support::HostTest {
 protected:
  std::string path() const { return folder() / "device-cache.shm"; }

  /// Host id to status of slave 7's modules.
  std::map<int, int> Read() const {
    std::map<int, int> found;
    for (const auto& [host_id, owner, status, padding] : support::ReadDeviceCache(folder())) {
      EXPECT_TRUE(found.emplace(host_id, status).second) << "twice: " << host_id;
      EXPECT_EQ(owner, 7);
    }
    return found;
  }
  static void Enter(std::list<IOModStsInfo> changed) {
    ShmDBCache* cache = QVShmDBCacheAt();
    ASSERT_NE(cache, nullptr);
    cache->BatUpdateIOModule(7, changed);
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

TEST_F(DeviceCache, GrowsUnderTwoWriters) {
  constexpr int kEach = 2000;
  // Two mappings stand for two processes: each has its own lock and its own idea of the size.
  const auto write = [&](int first) {
    const auto file = qv::shm::DeviceCacheFile::Open(path());
    for (int id = first; id < first + kEach; ++id) {
      const ShmDBCacheEntry values[] = {{id, 7, id + 1, 0}, {1, 7, 2, 0}};
      EXPECT_TRUE(file->Update(values));
    }
  };
  std::thread other(write, 10'000);
  write(20'000);
  other.join();
  const std::map<int, int> found = Read();
  EXPECT_EQ(found.size(), 2 * kEach + 1U);
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
    std::filesystem::remove(path());
    std::ofstream(path(), std::ios::binary) << content;
    EXPECT_EQ(QVShmDBCacheAt(), nullptr);
    EXPECT_EQ(std::filesystem::file_size(path()), content.size()) << "it is left as it is";
  }
}

}  // namespace
