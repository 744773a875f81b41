#include <gmock/gmock.h>
#include <unistd.h>

#include <optional>

#include "frame/logmessage.h"
#include "log/log.h"

namespace {

struct LogGateTest : testing::Test {
  LogGateTest() {
    qv::log::Reset();
    g_DbgLogPid = 0;
    qv::log::SetSink([this](const qv::log::Line& line) {
      lines_.push_back(line.level + ' ' + line.category + ' ' + line.file + ':' + std::to_string(line.line) + ' ' +
                       line.function + ' ' + line.text);
    });
  }
  ~LogGateTest() override { qv::log::Reset(); }

  std::vector<std::string> lines_;
};

TEST_F(LogGateTest, PassesTheLevelsOfTheConfiguration) {
  const int self = getpid();
  std::vector<int> full(kLogMaxFilteredPids, 1);
  full.back() = self;
  const std::tuple<const char*, std::optional<qv::log::Settings>, int> cases[] = {
      {"no configuration", {}, 3},
      {"no process filter", qv::log::Settings{.level = 4}, 4},
      {"no process filter, below the default levels", qv::log::Settings{.level = 0}, 0},
      {"nothing at all", qv::log::Settings{.level = -1}, -1},
      {"another process", qv::log::Settings{.level = 7, .pids = {1}}, 3},
      {"another process, below the default levels", qv::log::Settings{.level = 1, .pids = {1}}, 3},
      {"this process last", qv::log::Settings{.level = 7, .pids = {1, 2, self}}, 7},
      {"this process in a full list", qv::log::Settings{.level = 5, .pids = full}, 5},
      {"this process, below the default levels", qv::log::Settings{.level = 1, .pids = {self}}, 1},
  };
  for (const auto& [name, settings, last_enabled] : cases) {
    qv::log::Reset();
    if (settings) qv::log::Configure(*settings);
    for (const std::int32_t cached : {0, self}) {
      g_DbgLogPid = cached;
      for (int level = 0; level <= 8; ++level) {
        EXPECT_EQ(DbgLogLevelEnabled(level), level <= last_enabled) << name << ": " << level;
      }
      EXPECT_EQ(g_DbgLogPid, settings && !settings->pids.empty() ? self : cached) << name;
    }
  }
}

TEST_F(LogGateTest, ReadsTheConfigurationForEveryMessageFirstFromTheEnvironment) {
  setenv("QV_LOG_LEVEL", "verbose", 1);
  EXPECT_FALSE(DbgLogLevelEnabled(5)) << "not a number, so there is no configuration";
  setenv("QV_LOG_LEVEL", "5", 1);
  setenv("QV_LOG_PIDS", ("12,,x," + std::to_string(getpid())).c_str(), 1);
  EXPECT_TRUE(DbgLogLevelEnabled(5));
  EXPECT_FALSE(DbgLogLevelEnabled(6));
  ASSERT_EQ(g_pDbgLogCfg->pidCount, 2);
  EXPECT_EQ(g_pDbgLogCfg->pids[0], 12);
  for (const int level : {7, 1}) {
    qv::log::Configure({.level = level});
    ReinitDbgLogCfg();
    EXPECT_TRUE(DbgLogLevelEnabled(level)) << "settings count, not the environment";
    EXPECT_FALSE(DbgLogLevelEnabled(level + 1));
  }
  g_DbgLogPid = 1;
  qv::log::Configure({.level = 7, .pids = {getpid()}});
  EXPECT_FALSE(DbgLogLevelEnabled(7)) << "the id is read once";
  unsetenv("QV_LOG_LEVEL");
  unsetenv("QV_LOG_PIDS");
}

TEST_F(LogGateTest, MessageCarriesItsNamesAndASuppressedOneEvaluatesNothing) {
  qv::log::Configure({.level = 4});
  int evaluated = 0;
  const auto id = [&] { return ++evaluated; };
  CMS_LOG(LOG_LEVEL_INFO, "UpdatePOSData", "Update POS [%d] on ZR [%d].\n", id(), 3);
  const int own_line = __LINE__ - 1;
  CMS_LOG(LOG_LEVEL_CHANGE, "UpdatePOSData", "Changed [%d]\n", id());
  CMS_LOG_AT(LOG_LEVEL_ERR, 77, "RemoveSlaveData", "Failed.\n");
  EXPECT_EQ(evaluated, 1) << "a suppressed message evaluated its arguments";
  CMS_LOG(-1, "NoLevel", "100%%\n");

  qv::log::Configure({.level = 0});
  CMS_LOG(LOG_LEVEL_ERR, "RemoveSlaveData", "Suppressed [%d].\n", id());
  CMS_LOG_ALWAYS("RemoveSlaveData", "Fail to delete rec_server[%d]\n", id());

  EXPECT_EQ(evaluated, 2);
  const auto place = [&](int line) { return "qvwebapicmssyncutils:" + std::to_string(line); };
  EXPECT_THAT(lines_,
              testing::ElementsAre("INFO CMS_SYNC " + place(own_line) + " UpdatePOSData Update POS [1] on ZR [3].",
                                   "ERR CMS_SYNC " + place(77) + " RemoveSlaveData Failed.",
                                   "unknown CMS_SYNC " + place(own_line + 5) + " NoLevel 100%",
                                   "- - " + place(own_line + 9) + " RemoveSlaveData Fail to delete rec_server[2]"));
}

}  // namespace
