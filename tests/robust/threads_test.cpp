/// Many callers at once on one data folder: threads of several processes update, read, plan and remove many slaves.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <atomic>
#include <random>
#include <thread>

#include "calls.h"
#include "cmshostdapi.h"
#include "db/database.h"
#include "log/log.h"
#include "rtspinfo.h"
#include "status/rtspkeys.h"
#include "support/hoststate.h"
#include "support/keyfiles.h"
#include "support/scratch.h"

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
  Json::Value document(Json::objectValue);
  for (const char* section : {"POS_info", "speaker_info", "iomodule_info", "camera_info"}) {
    for (int id = first_id; id < first_id + kDevices; ++id) {
      Json::Value& entry = document[section].append(Json::objectValue);
      entry["id"] = id;
      entry[member] = value;
    }
  }
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
  for (const char* table : {"pos", "ipspeaker", "iomodule", "camera"}) {
    qv::db::Query rows = qv::db::ThisThread().Prepare(
        std::string("SELECT COUNT(*), COUNT(DISTINCT name), COUNT(DISTINCT id_on_rec_server) FROM ") + table +
        " WHERE owner_zr_id = $1");
    ASSERT_TRUE(rows.Bind(zr).Next());
    ASSERT_THAT(rows.Row().Int(0), testing::AnyOf(0, kDevices)) << table << " of " << zr;
    ASSERT_EQ(rows.Row().Int(1), rows.Row().Int(0) > 0 ? 1 : 0) << table << " of " << zr;
    ASSERT_EQ(rows.Row().Int(2), rows.Row().Int(0)) << table << " of " << zr;
  }
}

void CallOnce(std::mt19937& random, const std::string& caller) {
  const int zr = 1 + static_cast<int>(random() % kSlaves);
  const int first_id = 1 + static_cast<int>(random() % 3);
  qv::db::UnitOfWork unit;
  const auto choice = random() % 8;
  if (choice == 0) {
    SyncRelatedTableForSlaveDel(zr);
    RemoveSlaveData(zr);
  } else if (choice == 1) {  // a plan: nothing of it stays
    SaveSlaveInfoUpdate(support::Slave(zr), Document(first_id, "name", "planned"), zr);
    CountCall();
    return;
  } else if (choice < 5) {
    SlaveZRSave(support::Slave(zr));
    Json::Value report = Document(first_id, "status", static_cast<int>(random() % 3));
    report["status"] = SLAVE_ZR_CONNECTED;
    support::ApplyStatus(report, zr);
  } else {
    SlaveZRSave(support::Slave(zr));
    SaveSlaveInfoUpdate(support::Slave(zr), Document(first_id, "name", caller), zr);
  }
  CheckSlave(zr);
  CountCall();
  unit.Commit();
  ++*committed;
}

void RunThreads(int process, int rounds) {
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back([=] {
      std::mt19937 random(static_cast<unsigned>(process * kThreads + number));
      for (int round = 0; round < rounds; ++round) {
        try {
          CallOnce(random, std::to_string(process) + "/" + std::to_string(number) + "/" + std::to_string(round));
        } catch (const std::exception& error) {
          ADD_FAILURE() << error.what();
        }
        // Readers wait for nobody and see whole calls.
        CheckSlave(1 + static_cast<int>(random() % kSlaves));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
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
  qv::db::Open(folder, options);
  SlaveZRSave(support::Slave(kCounter));
  qv::db::Close();

  const int rounds = std::getenv("QV_LONG_TESTS") != nullptr ? 250 : 6;
  std::vector<pid_t> children;
  for (int process = 1; process <= kProcesses; ++process) {
    children.push_back(support::StartChild([&] {
      qv::db::Open(folder, options);
      RunThreads(process, rounds);
      qv::db::Close();
      return testing::Test::HasFailure() ? 1 : 0;
    }));
  }
  for (const pid_t child : children) EXPECT_EQ(support::EndOf(child), 0);
  EXPECT_THAT(support::FindDamage(folder), testing::IsEmpty());
  const int expected = *committed;
  const std::string server = std::to_string(kCounter);
  const auto counted = support::QueryFolder(folder, "SELECT cam_count FROM server WHERE id = " + server);
  EXPECT_EQ(counted[0], std::to_string(expected)) << "an update was lost";
  const auto messages =
      support::QueryFolder(folder, "SELECT payload FROM message WHERE zr_id = " + server + " ORDER BY id");
  ASSERT_EQ(messages.size(), static_cast<std::size_t>(expected)) << "messages do not match the commits";
  for (std::size_t i = 0; i < messages.size(); ++i) {
    EXPECT_EQ(messages[i], "{\"group_id\":" + std::to_string(i + 1) + "}") << "messages are not in order of commit";
  }
  printf("%d calls from %d threads of %d processes\n", kProcesses * kThreads * rounds, kThreads, kProcesses);
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
