#include "log/log.h"

#include <gmock/gmock.h>

#include "dbglog.h"
#include "support/hoststate.h"
#include "support/scratch.h"

namespace {

struct LogTest : testing::Test {
  ~LogTest() override { qv::log::Reset(); }
};

int Print(const char* level, const char* text, const char* category = "CMS_SYNC") {
  return QVPrintf(LOG_TYPE_DIAGNOSTIC, category, level, "source", 7, "Function", "%s\n", text);
}

TEST_F(LogTest, FileHoldsOneLinePerMessage) {
  const support::ScratchFolder folder;
  qv::log::Configure({.level = 7, .file = folder.path() / "log", .to_stderr = false});
  QVPrintf(LOG_TYPE_DIAGNOSTIC, "CMS_SYNC", "INFO", "source", 123, "RemoveExtraPOSs", "Remove POSs [%s] on ZR [%d].\n",
           "1,2", 3);
  QVPrintf(LOG_TYPE_DIAGNOSTIC, nullptr, nullptr, nullptr, 1, nullptr, "{} 100%%\n");

  const std::string time = "[0-9]{4}-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-6][0-9][.][0-9]{3}Z ";
  // The second message has no level, so it took the first one to the disk with it.
  const std::string first = "INFO CMS_SYNC source:123 RemoveExtraPOSs Remove POSs \\[1,2\\] on ZR \\[3\\][.]\n";
  EXPECT_THAT(support::ReadWholeFile(folder.path() / "log"),
              testing::MatchesRegex(time + first + time + "- - -:1 - \\{\\} 100%\n"));
}

TEST_F(LogTest, EveryMessageStaysOnOneLine) {
  std::vector<std::string> texts;
  qv::log::SetSink([&](const qv::log::Line& line) { texts.push_back(line.file + line.function + line.text); });
  QVPrintf(LOG_TYPE_DIAGNOSTIC, "CMS_SYNC", "INFO", "a\n", 7, "b\n", "c\nd\n");
  EXPECT_THAT(texts, testing::ElementsAre("a\\nb\\nc\\nd"));
}

TEST_F(LogTest, AsksForThePlatformsOwnLines) {
  std::vector<std::string> texts;
  qv::log::SetSink([&](const qv::log::Line& line) { texts.push_back(line.category + ' ' + line.level); });
  const auto print_all = [] {
    for (const char* category : {"DATABASE", "CMS_SYNC"}) {
      for (const char* level : {"ERR", "WARN", "INFO"}) Print(level, "text", category);
    }
  };
  qv::log::Configure({.level = 1});
  print_all();
  qv::log::Configure({.level = 0, .pids = {1}});  // for another process
  print_all();
  EXPECT_THAT(texts,
              testing::ElementsAre("DATABASE ERR", "CMS_SYNC ERR", "CMS_SYNC WARN", "CMS_SYNC INFO", "DATABASE ERR",
                                   "DATABASE WARN", "CMS_SYNC ERR", "CMS_SYNC WARN", "CMS_SYNC INFO"));
}

TEST_F(LogTest, AFileThatCannotBeWrittenNeverThrows) {
  testing::internal::CaptureStderr();
  qv::log::Configure({.file = "/dev/full", .to_stderr = false});
  for (int i = 0; i < 2; ++i) EXPECT_LT(Print("ERR", "lost"), 0);
  const std::string reported = testing::internal::GetCapturedStderr();
  EXPECT_THAT(reported, testing::HasSubstr("No space left on device"));
  EXPECT_EQ(std::count(reported.begin(), reported.end(), '\n'), 1);
}

}  // namespace
