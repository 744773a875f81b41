#include "log/log.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "dbglog.h"

namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

std::vector<std::string> LinesOf(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    lines.push_back(line);
  }
  return lines;
}

class LogTest : public testing::Test {
 protected:
  LogTest() {
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directory(folder_);
  }
  ~LogTest() override {
    qv::log::Reset();
    unsetenv("QV_LOG_LEVEL");
    unsetenv("QV_LOG_PIDS");
    std::filesystem::remove_all(folder_);
  }

  const std::filesystem::path folder_ = testing::TempDir() + "qv_log_" + std::to_string(getpid());
  const std::filesystem::path file_ = folder_ / "log";
};

int Print(const char* level, const char* text) {
  return QVPrintf(LOG_TYPE_DIAGNOSTIC, "CMS_SYNC", level, "source", 7, "Function", "%s\n", text);
}

TEST_F(LogTest, FileHoldsOneLinePerMessageForItsOwnerAlone) {
  qv::log::Configure({.level = 7, .file = file_, .to_stderr = false});
  QVPrintf(LOG_TYPE_DIAGNOSTIC, "CMS_SYNC", "INFO", "qvwebapicmssyncutils", 123, "RemoveExtraPOSs",
           "Remove extra POSs [%s] on ZR [%d].\n", "1,2", 3);
  QVPrintf(LOG_TYPE_DIAGNOSTIC, nullptr, nullptr, nullptr, 1, nullptr, "{} 100%%\n");

  const std::string time = "^[0-9]{4}-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-6][0-9][.][0-9]{3} ";
  // The second message has no level, so it took the first one to the disk with it.
  EXPECT_THAT(LinesOf(file_), ElementsAre(MatchesRegex(time + "INFO CMS_SYNC qvwebapicmssyncutils:123 RemoveExtraPOSs "
                                                              "Remove extra POSs \\[1,2\\] on ZR \\[3\\][.]$"),
                                          MatchesRegex(time + "- - -:1 - \\{\\} 100%$")));
  struct stat status {};
  ASSERT_EQ(stat(file_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(LogTest, SevereLevelsAreOnDiskAtOnceAndFilesAreAppendedTo) {
  for (const char* level : {"FATAL", "ERR", "WARN", "NOTICE", "unknown"}) {
    qv::log::Configure({.file = file_, .to_stderr = false});
    const std::size_t before = LinesOf(file_).size();
    Print(level, "text");
    EXPECT_EQ(LinesOf(file_).size(), before + 1) << level;
  }
}

TEST_F(LogTest, EveryMessageStaysOnOneLine) {
  struct {
    const char* text;
    const char* written;
  } static constexpr kCases[] = {
      {"a\nb\r\tc\n", "a\\nb\\r\\tc\\n"},
      {"\x1b[31m\x7f\x01", "\\x1B[31m\\x7F\\x01"},
      {"\xC2\x80\xC2\x9F\xC2\xA0", "\\xC2\\x80\\xC2\\x9F\xC2\xA0"},
      {"\xE2\x80\xA7\xE2\x80\xA8\xE2\x80\xA9", "\xE2\x80\xA7\\xE2\\x80\\xA8\\xE2\\x80\\xA9"},
      {"T\xC3\xBCr \xE9\x96\x80 \xF0\x9F\x9A\xAA C:\\n", "T\xC3\xBCr \xE9\x96\x80 \xF0\x9F\x9A\xAA C:\\n"},
      {"\xC3", "\\xC3"},                                      // cut off
      {"\xC3(\x80\xFF", "\\xC3(\\x80\\xFF"},                  // stray bytes
      {"\xC0\x8A\xE0\x80\x8A", "\\xC0\\x8A\\xE0\\x80\\x8A"},  // overlong line breaks
      {"\xED\xA0\x80", "\\xED\\xA0\\x80"},                    // surrogate
      {"\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},           // beyond the last code point
  };
  std::vector<std::string> texts;
  qv::log::SetSink([&](const qv::log::Line& line) { texts.push_back(line.text); });
  for (const auto& [text, written] : kCases) {
    Print("INFO", text);
    EXPECT_EQ(texts.back(), written);
  }
  EXPECT_EQ(texts.size(), std::size(kCases));
}

TEST_F(LogTest, LongLinesOfManyThreadsArriveWhole) {
  qv::log::Configure({.level = 7, .file = file_, .to_stderr = false});
  constexpr std::size_t kLines = 50;
  const std::vector<std::string> texts = {std::string(100000, 'a'), std::string(255, 'b'), std::string(256, 'c')};
  {
    std::vector<std::jthread> threads;
    for (const std::string& text : texts) {
      threads.emplace_back([&text] {
        for (std::size_t i = 0; i < kLines; ++i) {
          Print("INFO", text.c_str());
        }
      });
    }
  }
  Print("ERR", "last");
  const std::vector<std::string> lines = LinesOf(file_);
  EXPECT_EQ(lines.size(), texts.size() * kLines + 1);
  for (const std::string& text : texts) {
    const std::string end = " INFO CMS_SYNC source:7 Function " + text;
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), [&](const std::string& line) { return line.ends_with(end); }),
              kLines);
  }
}

TEST_F(LogTest, AFileThatCannotBeWrittenNeverThrows) {
  testing::internal::CaptureStderr();
  qv::log::Configure({.file = folder_, .to_stderr = false});
  EXPECT_GT(Print("ERR", "to stderr instead"), 0);
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::AllOf(testing::HasSubstr("Is a directory"), testing::HasSubstr("to stderr instead\n")));

  testing::internal::CaptureStderr();
  qv::log::Configure({.file = "/dev/full", .to_stderr = false});
  EXPECT_LT(Print("ERR", "lost"), 0);
  EXPECT_LT(Print("ERR", "lost"), 0);
  const std::string reported = testing::internal::GetCapturedStderr();
  EXPECT_THAT(reported, testing::HasSubstr("No space left on device"));
  EXPECT_EQ(std::count(reported.begin(), reported.end(), '\n'), 1);
}

TEST_F(LogTest, ConfigurationComesFromTheSettingsElseTheEnvironment) {
  qv::log::Reset();
  ReinitDbgLogCfg();
  EXPECT_EQ(g_pDbgLogCfg, nullptr);

  setenv("QV_LOG_LEVEL", "verbose", 1);
  ReinitDbgLogCfg();
  EXPECT_EQ(g_pDbgLogCfg, nullptr) << "not a number";

  setenv("QV_LOG_LEVEL", "5", 1);
  setenv("QV_LOG_PIDS", "12,,x,40", 1);
  ReinitDbgLogCfg();
  const DbgLogCfg* const from_environment = g_pDbgLogCfg;
  ASSERT_NE(from_environment, nullptr);
  EXPECT_EQ(from_environment->threshold[LOG_CATEG_CMS_SYNC], 5);
  EXPECT_EQ(from_environment->pidCount, 2);
  EXPECT_EQ(from_environment->pids[1], 40);

  qv::log::Configure({.level = 1});
  ReinitDbgLogCfg();
  EXPECT_EQ(g_pDbgLogCfg->threshold[LOG_CATEG_DATABASE], 1);
  EXPECT_EQ(g_pDbgLogCfg->pidCount, 0);
  EXPECT_EQ(from_environment->pidCount, 2) << "a record in use is never changed";

  EXPECT_THROW(qv::log::Configure({.level = 7, .pids = std::vector<int>(kLogMaxFilteredPids + 1, 1)}),
               std::invalid_argument);
  EXPECT_EQ(g_pDbgLogCfg->threshold[LOG_CATEG_CMS_SYNC], 1);
}

}  // namespace
