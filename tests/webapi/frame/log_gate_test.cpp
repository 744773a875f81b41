#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "frame/logmessage.h"
#include "log/log.h"

namespace {

class LogGateTest : public testing::Test {
 protected:
  LogGateTest() {
    qv::log::Reset();
    g_DbgLogPid = 0;
    qv::log::SetSink([this](const qv::log::Line& line) {
      lines_.push_back(line.level + ' ' + line.category + ' ' + line.file + ' ' + line.function + ' ' + line.text);
      numbers_.push_back(line.line);
    });
  }
  ~LogGateTest() override { qv::log::Reset(); }

  std::vector<std::string> lines_;
  std::vector<int> numbers_;
};

TEST_F(LogGateTest, PassesTheLevelsOfTheConfiguration) {
  const int self = getpid();
  std::vector<int> full(kLogMaxFilteredPids, 1);
  full.back() = self;
  const struct {
    const char* name;
    bool is_configured;
    int threshold;
    std::vector<int> pids;
    int last_enabled;
  } cases[] = {
      {"no configuration", false, 0, {}, 3},
      {"no process filter", true, 4, {}, 4},
      {"no process filter, below the default levels", true, 0, {}, 0},
      {"nothing at all", true, -1, {}, -1},
      {"another process", true, 7, {1}, 3},
      {"another process, below the default levels", true, 1, {1}, 3},
      {"this process last", true, 7, {1, 2, self}, 7},
      {"this process in a full list", true, 5, full, 5},
      {"this process, below the default levels", true, 1, {self}, 1},
  };
  for (const auto& row : cases) {
    qv::log::Reset();
    if (row.is_configured) {
      qv::log::Configure({.level = row.threshold, .pids = row.pids});
    }
    for (const std::int32_t cached : {0, self}) {
      g_DbgLogPid = cached;
      int last_enabled = -1;
      for (int level = 0; level <= 8; ++level) {
        if (DbgLogLevelEnabled(level)) {
          EXPECT_EQ(last_enabled, level - 1) << row.name;
          last_enabled = level;
        }
      }
      EXPECT_EQ(last_enabled, row.last_enabled) << row.name;
      EXPECT_EQ(g_DbgLogPid, row.pids.empty() ? cached : self) << row.name;
    }
  }
}

TEST_F(LogGateTest, MessageCarriesItsNamesAndASuppressedOneEvaluatesNothing) {
  qv::log::Configure({.level = 4});
  int evaluated = 0;
  const auto id = [&] { return ++evaluated; };
  CMS_LOG(LOG_LEVEL_INFO, "UpdatePOSData", "Update POS [%d] on ZR [%d].\n", id(), 3);
  const int own_line = __LINE__ - 1;
  CMS_LOG(LOG_LEVEL_CHANGE, "UpdatePOSData", "Changed [%d]\n", id());
  CMS_LOG_AT(LOG_LEVEL_ERR, 77, "RemoveSlaveData", "Failed.\n");
  if (evaluated == 1)
    CMS_LOG(-1, "NoLevel", "100%%\n");
  else
    FAIL() << "a suppressed message evaluated its arguments";

  qv::log::Configure({.level = 0});
  CMS_LOG(LOG_LEVEL_ERR, "RemoveSlaveData", "Suppressed [%d].\n", id());
  CMS_LOG_ALWAYS("RemoveSlaveData", "Fail to delete rec_server[%d]\n", id());

  EXPECT_EQ(evaluated, 2);
  EXPECT_EQ(lines_, (std::vector<std::string>{
                        "INFO CMS_SYNC qvwebapicmssyncutils UpdatePOSData Update POS [1] on ZR [3].",
                        "ERR CMS_SYNC qvwebapicmssyncutils RemoveSlaveData Failed.",
                        "unknown CMS_SYNC qvwebapicmssyncutils NoLevel 100%",
                        "- - qvwebapicmssyncutils RemoveSlaveData Fail to delete rec_server[2]",
                    }));
  EXPECT_EQ(numbers_[0], own_line);
  EXPECT_EQ(numbers_[1], 77);
}

}  // namespace
