/// Many callers at once on one data folder: threads of several processes update, read, plan and remove many slaves.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <random>
#include <thread>

#include "calls.h"
#include "cmshostdapi.h"
#include "db/database.h"
#include "log/log.h"
#include "support/hoststate.h"

namespace {

namespace fs = std::filesystem;

constexpr int kThreads = 8;
constexpr int kProcesses = 3;
constexpr int kSlaves = 12;
constexpr int kCounter = 100;  ///< a server whose record counts the calls
constexpr int kDevices = 4;

/// Devices that all carry the same note, so that a mixture of two documents shows.
Json::Value Document(const std::string& note, int first_id) {
  Json::Value document(Json::objectValue);
  for (const char* section : {"POS_info", "speaker_info", "iomodule_info", "camera_info"}) {
    for (int id = first_id; id < first_id + kDevices; ++id) {
      Json::Value entry(Json::objectValue);
      entry["id"] = id;
      entry["name"] = note;
      entry["note"] = note;
      document[section].append(entry);
    }
  }
  return document;
}

Json::Value Report(int status, int first_id) {
  Json::Value report(Json::objectValue);
  report["status"] = SLAVE_ZR_CONNECTED;
  for (const char* section : {"POS_info", "speaker_info", "iomodule_info", "camera_info"}) {
    for (int id = first_id; id < first_id + kDevices; ++id) {
      Json::Value entry(Json::objectValue);
      entry["id"] = id;
      entry["status"] = status;
      report[section].append(entry);
    }
  }
  return report;
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
    SaveSlaveInfoUpdate(support::Slave(zr), Document("planned", first_id), zr);
    CountCall();
    return;
  } else if (choice < 5) {
    SlaveZRSave(support::Slave(zr));
    support::ApplyStatus(Report(static_cast<int>(random() % 3), first_id), zr);
  } else {
    SlaveZRSave(support::Slave(zr));
    SaveSlaveInfoUpdate(support::Slave(zr), Document(caller, first_id), zr);
  }
  CheckSlave(zr);
  CountCall();
  unit.Commit();
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
  std::string pattern = testing::TempDir() + "qvthreads-XXXXXX";
  ASSERT_NE(mkdtemp(pattern.data()), nullptr);
  const fs::path root = pattern;
  qv::db::Options options;
  options.driver = {.busy_timeout = std::chrono::minutes(5), .durability = qv::db::Durability::Process};
  qv::log::SetSink([](const qv::log::Line& line) {
    if (line.level == "ERR") ADD_FAILURE() << line.function << " " << line.text;
  });
  qv::db::Open(root / "data", options);
  SlaveZRSave(support::Slave(kCounter));
  qv::db::Close();

  const int rounds = std::getenv("QV_LONG_TESTS") != nullptr ? 250 : 6;
  std::vector<pid_t> children;
  for (int process = 1; process <= kProcesses; ++process) {
    children.push_back(fork());
    if (children.back() != 0) continue;
    qv::db::Open(root / "data", options);
    RunThreads(process, rounds);
    qv::db::Close();
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  for (const pid_t child : children) {
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  EXPECT_THAT(support::FindDamage(root / "data"), testing::IsEmpty());
  const std::string counted =
      support::QueryFolder(root / "data", "SELECT cam_count FROM server WHERE id = " + std::to_string(kCounter))[0];
  // What a caller draws follows from its number, so what it must have committed is known.
  int expected = 0;
  for (int caller = kThreads; caller < (kProcesses + 1) * kThreads; ++caller) {
    std::mt19937 random(static_cast<unsigned>(caller));
    for (int round = 0; round < rounds; ++round) {
      random.discard(2);
      const auto choice = random() % 8;
      random.discard(choice >= 2 && choice < 5 ? 2 : 1);
      expected += choice == 1 ? 0 : 1;
    }
  }
  EXPECT_EQ(counted, std::to_string(expected)) << "an update was lost";
  const auto messages = support::QueryFolder(
      root / "data", "SELECT payload FROM message WHERE zr_id = " + std::to_string(kCounter) + " ORDER BY id");
  ASSERT_EQ(messages.size(), static_cast<std::size_t>(expected)) << "messages do not match the commits";
  for (std::size_t i = 0; i < messages.size(); ++i) {
    EXPECT_EQ(messages[i], "{\"group_id\":" + std::to_string(i + 1) + "}") << "messages are not in order of commit";
  }
  printf("%d calls from %d threads of %d processes\n", kProcesses * kThreads * rounds, kThreads, kProcesses);
  qv::log::Reset();
  fs::remove_all(root);
}

}  // namespace
