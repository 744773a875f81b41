#include <gmock/gmock.h>
#include <unistd.h>

#include "frame/logmessage.h"
#include "log/log.h"

namespace {

/// A log configuration of the test's own. The other categories have thresholds that would show.
struct LogGate : testing::Test {
  LogGate() {
    qv::log::Reset();
    g_DbgLogPid = 0;
    std::fill(std::begin(configuration_.threshold), std::end(configuration_.threshold), 9);
    qv::log::SetSink([this](const qv::log::Line& line) {
      lines_.push_back(line.level + ' ' + line.category + ' ' + line.file + ':' + std::to_string(line.line) + ' ' +
                       line.function + ' ' + line.text);
    });
  }
  ~LogGate() override {
    g_pDbgLogCfg = nullptr;
    qv::log::Reset();
  }
  void Configure(int threshold, const std::vector<int>& pids = {}) {
    configuration_.threshold[14] = threshold;
    configuration_.pidCount = static_cast<std::int32_t>(pids.size());
    std::copy(pids.begin(), pids.end(), configuration_.pids);
    g_pDbgLogCfg = &configuration_;
  }
  static int LastEnabledLevel() {
    int level = -1;
    while (DbgLogLevelEnabled(level + 1)) ++level;
    return level;
  }

  DbgLogCfg configuration_{};
  std::vector<std::string> lines_;
};

TEST_F(LogGate, WithoutAConfigurationPassesLevelsUpTo3) { EXPECT_EQ(LastEnabledLevel(), 3); }

TEST_F(LogGate, PassesTheLevelsOfItsCategory) {
  for (const int threshold : {-1, 0, 4, 7}) {
    Configure(threshold);
    EXPECT_EQ(LastEnabledLevel(), threshold);
  }
  EXPECT_EQ(g_DbgLogPid, 0) << "the process id does not matter without a filter";
}

TEST_F(LogGate, PassesLevelsUpTo3OfAProcessThatTheFilterDoesNotName) {
  for (const int threshold : {1, 7}) {
    Configure(threshold, {1, 2, getpid()});
    configuration_.pidCount = 2;
    EXPECT_EQ(LastEnabledLevel(), 3);
  }
}

TEST_F(LogGate, PassesTheLevelsOfAProcessThatTheFilterNames) {
  std::vector<int> pids(kLogMaxFilteredPids, 1);
  pids.back() = getpid();
  for (const int threshold : {1, 5}) {
    Configure(threshold, pids);
    EXPECT_EQ(LastEnabledLevel(), threshold);
  }
}

TEST_F(LogGate, ReadsTheProcessIdOnce) {
  Configure(7, {getpid()});
  g_DbgLogPid = 1;
  EXPECT_EQ(LastEnabledLevel(), 3);
  g_DbgLogPid = 0;
  EXPECT_TRUE(DbgLogLevelEnabled(7)) << "at once with the message that reads it";
  EXPECT_EQ(g_DbgLogPid, getpid());
}

TEST_F(LogGate, ReadsTheConfigurationFromTheEnvironment) {
  setenv("QV_LOG_LEVEL", "5", 1);
  EXPECT_EQ(LastEnabledLevel(), 5);
  unsetenv("QV_LOG_LEVEL");
}

TEST_F(LogGate, AMessageCarriesItsNamesAndItsPlace) {
  Configure(7);
  CMS_LOG_AT(LOG_LEVEL_ERR, 77, "RemoveSlaveData", "100%% failed [%d].\n", 3);
  CMS_LOG(-1, "NoLevel", "Text.\n");
  CMS_LOG_ALWAYS("RemoveSlaveData", "Fail to delete rec_server[%d]\n", 3);
  EXPECT_THAT(lines_, testing::ElementsAre("ERR CMS_SYNC qvwebapicmssyncutils:77 RemoveSlaveData 100% failed [3].",
                                           testing::StartsWith("unknown CMS_SYNC qvwebapicmssyncutils:"),
                                           testing::StartsWith("- - qvwebapicmssyncutils:")));
}

TEST_F(LogGate, ASuppressedMessageEvaluatesNothing) {
  Configure(0);
  int evaluated = 0;
  CMS_LOG(LOG_LEVEL_ERR, "RemoveSlaveData", "Suppressed [%d].\n", ++evaluated);
  EXPECT_EQ(evaluated, 0);
  EXPECT_THAT(lines_, testing::IsEmpty());
}

}  // namespace
