/// Many callers at once on one data folder: threads of several processes update, read, plan and remove many slaves.

#include <sys/mman.h>

#include <atomic>
#include <random>
#include <thread>

#include "calls.h"
#include "cmshostdapi.h"
#include "log/log.h"
#include "status/rtspkeys.h"

namespace {

namespace fs = std::filesystem;

constexpr int kThreads = 8;
constexpr int kProcesses = 3;
constexpr int kSlaves = 12;
constexpr int kCounter = 100;  ///< a server whose record counts the calls
constexpr int kDevices = 4;

/// How many calls were committed, for all processes.
std::atomic<int>* committed = nullptr;

/// Devices that all carry the same value, so that a mixture of two documents shows.
Json::Value Document(int first_id, const std::string& member, const Json::Value& value) {
  Json::Value devices(Json::arrayValue);
  for (int i = 0; i < kDevices; ++i) {
    devices[i]["id"] = first_id + i;
    devices[i][member] = value;
  }
  Json::Value document;
  for (const char* section : {"POS_info", "speaker_info", "iomodule_info", "camera_info"}) document[section] = devices;
  return document;
}

/// One more call is counted in the record of a server that all callers share, and told by a message: a lost update is
/// a number too low.
void CountCall() {
  SlaveZRStatus record;
  record.ZrId = kCounter;
  ASSERT_EQ(SlaveZRStatusLoad(record), 0);
  ++record.CamCnt;
  ASSERT_EQ(SlaveZRStatusSave(record), 0);
  ASSERT_EQ(CmsHostdApi::NotifySyncFaceDatabase(kCounter, record.CamCnt), 0);
}

/// What a slave holds must come from one document: as many devices of each kind as in it, all with one note.
void CheckSlave(int zr) {
  for (const std::string table : {"pos", "ipspeaker", "iomodule", "camera"}) {
    qv::db::Query rows = qv::db::ThisThread().Prepare(
        "SELECT COUNT(*) || ' ' || COUNT(DISTINCT name) || ' ' || COUNT(DISTINCT id_on_rec_server) FROM " + table +
        " WHERE owner_zr_id = $1");
    ASSERT_TRUE(rows.Bind(zr).Next());
    ASSERT_THAT(rows.Row().Text(0), testing::AnyOf("0 0 0", "4 1 4")) << table << " of " << zr;
  }
}

void CallOnce(std::mt19937& random, const std::string& caller) {
  const int zr = 1 + static_cast<int>(random() % kSlaves);
  const int first_id = 1 + static_cast<int>(random() % 3);
  qv::db::UnitOfWork unit;
  const auto choice = random() % 8;
  if (choice > 1) SlaveZRSave(support::Slave(zr));
  if (choice == 0) {
    SyncRelatedTableForSlaveDel(zr);
    RemoveSlaveData(zr);
  } else if (choice == 1) {  // a plan: nothing of it stays
    SaveSlaveInfoUpdate(support::Slave(zr), Document(first_id, "name", "planned"), zr);
    CountCall();
    return;
  } else if (choice < 5) {
    Json::Value report = Document(first_id, "status", static_cast<int>(random() % 3));
    report["status"] = SLAVE_ZR_CONNECTED;
    support::ApplyStatus(report, zr);
  } else {
    SaveSlaveInfoUpdate(support::Slave(zr), Document(first_id, "name", caller), zr);
  }
  CheckSlave(zr);
  CountCall();
  unit.Commit();
  ++*committed;
}

void RunThreads(int process, int rounds) {
  std::vector<std::jthread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back([=]() noexcept {  // an exception ends the process by a signal
      std::mt19937 random(static_cast<unsigned>(process * kThreads + number));
      for (int round = 0; round < rounds; ++round) {
        CallOnce(random, std::to_string(process) + "/" + std::to_string(number) + "/" + std::to_string(round));
        // Readers wait for nobody and see whole calls.
        CheckSlave(1 + static_cast<int>(random() % kSlaves));
      }
    });
  }
}

TEST(ThreadsTest, ProcessesAndThreadsTakeTurns) {
  const support::ScratchFolder root;
  const fs::path folder = root.path() / "data";
  void* const shared = mmap(nullptr, sizeof *committed, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  committed = new (shared) std::atomic<int>(0);
  qv::db::Options options;
  options.driver = {.busy_timeout = std::chrono::minutes(5), .durability = qv::db::Durability::Process};
  qv::log::SetSink([](const qv::log::Line& line) {
    if (line.level == "ERR") ADD_FAILURE() << line.function << " " << line.text;
  });
  const int rounds = std::getenv("QV_LONG_TESTS") != nullptr ? 250 : 6;
  std::vector<pid_t> children;
  for (int process = 1; process <= kProcesses; ++process) {
    children.push_back(support::StartChild([&] {
      qv::db::Open(folder, options);  // which one of them makes
      {
        qv::db::UnitOfWork unit;
        if (!SlaveZRLoad(kCounter)) SlaveZRSave(support::Slave(kCounter));
        unit.Commit();
      }
      RunThreads(process, rounds);
      qv::db::Close();
      return testing::Test::HasFailure() ? 1 : 0;
    }));
  }
  for (const pid_t child : children) EXPECT_EQ(support::EndOf(child), 0);
  EXPECT_THAT(support::FindDamage(folder), testing::IsEmpty());
  EXPECT_THAT(support::QueryFolder(folder, "SELECT cam_count FROM server WHERE id = 100"),
              testing::ElementsAre(std::to_string(*committed)))
      << "an update was lost";
  std::vector<std::string> messages;
  for (int i = 1; i <= *committed; ++i) messages.push_back("{\"group_id\":" + std::to_string(i) + "}");
  EXPECT_EQ(support::QueryFolder(folder, "SELECT payload FROM message WHERE zr_id = 100 ORDER BY id"), messages)
      << "not those of the commits in their order";
  qv::log::Reset();
  munmap(shared, sizeof *committed);
}

/// The keys of all slaves are remembered in one place, also outside of any unit of work.
TEST(ThreadsTest, ReportsOfManySlavesShareTheKnownKeys) {
  constexpr int kFirstSlave = 600;
  const support::KeyFiles no_other_test;
  const auto report = [](int zr, int rounds) {
    for (int round = 1; round <= rounds; ++round) CheckToUpdateRtspKey(zr, {{1000 * round + zr, std::to_string(zr)}});
  };
  std::vector<std::thread> threads;
  for (int zr = kFirstSlave; zr < kFirstSlave + kThreads; ++zr) threads.emplace_back(report, zr, 10);
  for (std::thread& thread : threads) thread.join();
  for (int zr = kFirstSlave; zr < kFirstSlave + kThreads; ++zr) {
    const fs::path path = RtspKeyFilePath(zr);
    const std::string slave = std::to_string(zr);
    EXPECT_EQ(support::ReadWholeFile(path), "{\"" + std::to_string(10000 + zr) + "\":\"" + slave + "\"}\n");
    fs::resize_file(path, 0);
    report(zr, 10);
    EXPECT_EQ(fs::file_size(path), 0U) << "keys of " << zr << " were forgotten";
    fs::remove(path);
  }
}

}  // namespace
