#include <fstream>

#include "iomodule.h"
#include "shm/devicecachefile.h"
#include "support/hosttest.h"

namespace {

using qv::shm::DeviceCacheChanges;
using qv::shm::DeviceCacheFile;
using support::EndOf;
using support::InUnit;
using support::StartChild;
using testing::Pair;
using Modules = std::multimap<int, int>;  ///< host id to status

struct DeviceCache : support::HostTest {
  std::string path() const { return folder() / "device-cache.shm"; }
  Modules Read() const {
    Modules found;
    for (const auto& [id, owner, status, padding] : support::ReadDeviceCache(folder())) {
      if (id != 0) found.emplace(id, status);
    }
    return found;
  }
  std::string Header() const { return support::ReadWholeFile(path()).substr(0, sizeof(ShmDBCacheHeader)); }
  static void Enter(std::list<IOModStsInfo> changed) {
    ShmDBCache* cache = QVShmDBCacheAt();
    ASSERT_NE(cache, nullptr);
    cache->BatUpdateIOModule(7, changed);
  }
  bool Apply(const DeviceCacheChanges& changes) const {
    DeviceCacheFile cache(path());
    return cache && cache.Apply(changes);
  }
};

/// `text` with `bytes` from `begin` on.
std::string With(std::string text, std::size_t begin, const std::string& bytes) {
  return text.replace(begin, bytes.size(), bytes);
}

TEST_F(DeviceCache, ShowsWhatIsCommitted) {
  Enter({{1, 10}, {2, 20}, {1, 11}});
  EXPECT_THAT(Read(), ElementsAre(Pair(1, 11), Pair(2, 20)));
  InUnit(true, [&] {
    Enter({{2, 21}, {3, 30}});
    {
      const qv::db::AllOrNothing given_up;
      Enter({{4, 40}});
    }
    EXPECT_THAT(Read(), ElementsAre(Pair(1, 11), Pair(2, 20))) << "nothing is committed yet";
  });
  EXPECT_THAT(Read(), ElementsAre(Pair(1, 11), Pair(2, 21), Pair(3, 30)));
  InUnit(false, [] { Enter({{1, 12}}); });
  EXPECT_THAT(Read(), ElementsAre(Pair(1, 11), Pair(2, 21), Pair(3, 30)));
  std::filesystem::remove(path());
  Enter({{5, 50}});
  EXPECT_THAT(Read(), ElementsAre(Pair(5, 50))) << "a deleted file is made anew";
}

TEST_F(DeviceCache, IsMadeAnewByTheNextWriterWhenItIsDamaged) {
  Enter({{1, 10}});
  const std::string good = support::ReadWholeFile(path());
  const std::pair<const char*, std::string> cases[] = {
      {"is a text", "text"},
      {"has another magic number", With(good, 0, "X")},
      {"has a larger capacity than the file", With(good, 9, "\7")},
      {"has more entries than its capacity", With(good, 13, "\7")},
  };
  const std::string link = folder() / "link";
  for (const auto& [damage, content] : cases) {
    std::ofstream(path(), std::ios::binary) << content;
    std::filesystem::create_hard_link(path(), link);
    Enter({{2, 20}});
    EXPECT_THAT(Read(), ElementsAre(Pair(2, 20))) << "a file that " << damage;
    EXPECT_EQ(support::ReadWholeFile(link), content) << "a reader may still look at a file that " << damage;
    std::filesystem::remove(link);
  }
}

TEST_F(DeviceCache, GoesOnWhereAWriterDied) {
  Enter({{1, 10}});
  const std::string unfinished = With(support::ReadWholeFile(path()), 16, "\7");
  std::ofstream(path(), std::ios::binary) << unfinished;
  Enter({{2, 20}});
  EXPECT_THAT(Read(), ElementsAre(Pair(1, 10), Pair(2, 20)));
  EXPECT_EQ(support::ReadWholeFile(path())[16] % 2, 0) << "readers need not wait any more";
}

TEST_F(DeviceCache, OfAnotherLayoutIsLeftAlone) {
  Enter({{1, 10}});
  const std::string other = With(support::ReadWholeFile(path()), 4, "\2");
  std::ofstream(path(), std::ios::binary) << other;
  EXPECT_EQ(QVShmDBCacheAt(), nullptr);
  EXPECT_EQ(support::ReadWholeFile(path()), other);
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
  InUnit(false, [&] { remove(1); });
  InUnit(true, [&] {
    Enter({{1, 11}, {3, 30}});
    remove(1);
    EXPECT_THAT(Read(), ElementsAre(Pair(1, 10), Pair(2, 20)));
  });
  EXPECT_THAT(Read(), ElementsAre(Pair(2, 20), Pair(3, 30)));
}

TEST_F(DeviceCache, ShowsAReaderWholeChangesOfSeveralProcesses) {
  constexpr int kModules = 300;  // of each of two servers: the file grows twice
  constexpr int kRounds = 300;
  Enter({{999, 0}});
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
  Modules last = {{999, 0}};
  for (const int first : {1000, 2000}) {
    for (int id = first; id < first + kModules; ++id) last.emplace(id, kRounds);
  }
  for (Modules seen; seen != last;) {
    const std::string before = Header();
    try {
      seen = Read();
    } catch (const std::runtime_error&) {
      continue;  // it is being written
    }
    if (Header() != before) continue;
    std::map<std::pair<int, int>, int> counts;  // by server and status
    for (const auto& [id, status] : seen) ++counts[{id / 1000, status}];
    counts.erase({0, 0});
    for (const auto& [server_and_status, count] : counts) ASSERT_EQ(count, kModules) << "a change in parts";
  }
  for (const pid_t writer : writers) EXPECT_EQ(EndOf(writer), 0);
  EXPECT_EQ(std::filesystem::file_size(path()), 64 + 4 * 252 * 16) << "the places of what was forgotten are used again";
}

}  // namespace
