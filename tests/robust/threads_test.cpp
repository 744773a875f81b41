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
constexpr unsigned kProcesses = 3;
constexpr int kCounter = 100;  ///< a server whose record counts the calls

int Random(std::mt19937& random, int below) { return std::uniform_int_distribution(0, below - 1)(random); }

/// Devices that all carry the same value, so that a mixture of two documents shows.
Json::Value Document(int first_id, const std::string& member, const Json::Value& value) {
  Json::Value devices(Json::arrayValue);
  for (int i = 0; i < 4; ++i) {
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

/// What a slave holds must come from one document: as many devices of each kind as in it, all with one name.
void CheckSlave(int zr) {
  for (const std::string table : {"pos", "ipspeaker", "iomodule", "camera"}) {
    qv::db::Query rows = qv::db::ThisThread().Prepare(
        "SELECT COUNT(*) || ' ' || COUNT(DISTINCT name) || ' ' || COUNT(DISTINCT id_on_rec_server) FROM " + table +
        " WHERE owner_zr_id = $1");
    ASSERT_TRUE(rows.Bind(zr).Next());
    ASSERT_THAT(rows.Row().Text(0), testing::AnyOf("0 0 0", "4 1 4")) << table << " of " << zr;
  }
}

/// @param committed  counts the calls that were committed, in all processes
void CallOnce(std::mt19937& random, std::atomic<int>& committed) {
  const int zr = 1 + Random(random, 12);
  const int first_id = 1 + Random(random, 3);
  const int choice = Random(random, 8);
  {
    qv::db::UnitOfWork unit;
    if (choice == 0) {
      SyncRelatedTableForSlaveDel(zr);
      RemoveSlaveData(zr);
    } else {
      SlaveZRSave(support::Slave(zr));
      SaveSlaveInfoUpdate(support::Slave(zr), Document(first_id, "name", Random(random, 1'000'000)), zr);
    }
    if (choice > 4) {
      Json::Value report = Document(first_id, "status", Random(random, 3));
      report["status"] = SLAVE_ZR_CONNECTED;
      support::ApplyStatus(report, zr);
    }
    CheckSlave(zr);
    CountCall();
    if (choice != 1) {  // that one is a plan: nothing of it stays
      unit.Commit();
      ++committed;
    }
  }
  CheckSlave(1 + Random(random, 12));  // readers wait for nobody and see whole calls
}

TEST(ThreadsTest, ProcessesAndThreadsTakeTurns) {
  const support::ScratchFolder root;
  const fs::path folder = root.path() / "data";
  void* const shared = mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  std::atomic<int>& committed = *new (shared) std::atomic<int>(0);
  qv::log::SetSink([](const qv::log::Line& line) {
    if (line.level == "ERR") ADD_FAILURE() << line.function << " " << line.text;
  });
  const int rounds = std::getenv("QV_LONG_TESTS") != nullptr ? 250 : 6;
  const auto run_threads = [&](unsigned process) {
    std::vector<std::jthread> threads;
    for (unsigned number = 0; number < kThreads; ++number) {
      threads.emplace_back([&, number]() noexcept {  // an exception ends the process by a signal
        std::mt19937 random(process * kThreads + number);
        for (int round = 0; round < rounds; ++round) CallOnce(random, committed);
      });
    }
  };
  qv::db::Options options = support::OptionsFor(folder);
  options.driver.busy_timeout = std::chrono::minutes(5);
  std::vector<pid_t> children;
  for (unsigned process = 0; process < kProcesses; ++process) {
    children.push_back(support::StartChild([&] {
      qv::db::Open(folder, options);  // which one of them makes
      support::InUnit(true, [] {
        if (!SlaveZRLoad(kCounter)) SlaveZRSave(support::Slave(kCounter));
      });
      run_threads(process);
      qv::db::Close();
      return testing::Test::HasFailure() ? 1 : 0;
    }));
  }
  for (const pid_t child : children) EXPECT_EQ(support::EndOf(child), 0);
  EXPECT_THAT(support::FindDamage(folder), testing::IsEmpty());
  EXPECT_THAT(support::QueryFolder(folder, "SELECT cam_count FROM server WHERE id = 100"),
              testing::ElementsAre(std::to_string(committed)))
      << "an update was lost";
  support::Lines messages;
  for (int i = 1; i <= committed; ++i) messages.push_back("{\"group_id\":" + std::to_string(i) + "}");
  EXPECT_EQ(support::QueryFolder(folder, "SELECT payload FROM message WHERE zr_id = 100 ORDER BY id"), messages)
      << "not those of the commits in their order";
  qv::log::Reset();
  munmap(shared, sizeof(int));
}

/// The keys of all slaves are remembered in one place, also outside of any unit of work.
TEST(ThreadsTest, ReportsOfManySlavesShareTheKnownKeys) {
  const support::KeyFiles no_other_test;
  const auto report = [](int zr, int rounds) {
    for (int round = 1; round <= rounds; ++round) CheckToUpdateRtspKey(zr, {{1000 * round + zr, "key"}});
  };
  std::vector<std::thread> threads;
  for (int zr = 600; zr < 600 + kThreads; ++zr) threads.emplace_back(report, zr, 10);
  for (std::thread& thread : threads) thread.join();
  for (int zr = 600; zr < 600 + kThreads; ++zr) {
    const fs::path path = RtspKeyFilePath(zr);
    EXPECT_EQ(support::ReadWholeFile(path), "{\"" + std::to_string(10000 + zr) + "\":\"key\"}\n");
    fs::resize_file(path, 0);
    report(zr, 10);
    EXPECT_EQ(fs::file_size(path), 0U) << "keys of " << zr << " were forgotten";
    fs::remove(path);
  }
}

}  // namespace
