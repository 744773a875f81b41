#include "log/log.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "dbglog.h"
#include "log/message.h"
#include "record/attempt.h"
#include "support/hoststate.h"
#include "support/scratch.h"

namespace {

struct LogTest : testing::Test {
  ~LogTest() override { qv::log::Reset(); }
};

int Print(const char* text) {
  return QVPrintf(LOG_TYPE_DIAGNOSTIC, "CMS_SYNC", "ERR", "source", 7, "Function", "%s\n", text);
}

TEST_F(LogTest, FileHoldsOneLinePerMessage) {
  const support::ScratchFolder folder;
  qv::log::Configure({.level = 7, .file = folder.path() / "log", .to_stderr = false});
  QVPrintf(LOG_TYPE_DIAGNOSTIC, "CMS_SYNC", "INFO", "source", 123, "Remove\n", "Remove POSs [%s] \n on ZR [%d].\n",
           "1,2", 3);
  EXPECT_GT(QVPrintf(LOG_TYPE_DIAGNOSTIC, nullptr, nullptr, nullptr, 1, nullptr, "{} 100%%\n"), 0);

  const std::string time = "[0-9]{4}-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-6][0-9][.][0-9]{3}Z ";
  // The second message has no level, so it took the first one to the disk with it.
  const std::string first = "INFO CMS_SYNC source:123 Remove\\\\n Remove POSs \\[1,2\\] \\\\n on ZR \\[3\\][.]\n";
  EXPECT_THAT(support::ReadWholeFile(folder.path() / "log"),
              testing::MatchesRegex(time + first + time + "- - -:1 - \\{\\} 100%\n"));
}

TEST_F(LogTest, AMessageOfThePlatformNamesThePlaceOfTheCall) {
  std::vector<std::string> lines;
  qv::log::SetSink([&](const qv::log::Line& line) {
    lines.push_back(line.level + " " + line.file + ":" + std::to_string(line.line) + " " + line.function + " " +
                    line.text);
  });
  const auto fail = [] { throw qv::db::Error(qv::db::Error::Kind::Statement, "the disk is full"); };
#line 100 "here"
  qv::log::Warn("Server [{}] is {} full", 7, "half");
  EXPECT_EQ(qv::record::Attempt("Failed to list cameras", fail), -1);
  EXPECT_EQ(qv::record::Attempt("Failed to save camera [{}]", 5, fail), -1);
  EXPECT_EQ(qv::record::Attempt("Failed to save camera [{}]", 6, [] {}), 0);
  EXPECT_THAT(lines, testing::ElementsAre("WARN here:100 TestBody Server [7] is half full",
                                          "ERR here:101 TestBody Failed to list cameras: the disk is full",
                                          "ERR here:102 TestBody Failed to save camera [5]: the disk is full"));
}

TEST_F(LogTest, MessagesOfThePlatformPassTheGate) {
  std::vector<std::string> texts;
  qv::log::SetSink([&](const qv::log::Line& line) { texts.push_back(line.text); });
  qv::log::Configure({.level = LOG_LEVEL_ERR});
  qv::log::Warn("too low");
  qv::log::Error("an error at the threshold");
  qv::log::Configure({.level = LOG_LEVEL_FATAL});
  qv::log::Error("too low");
  qv::log::Configure({.level = LOG_LEVEL_FATAL, .pids = {1, getpid()}});
  qv::log::Error("too low");
  qv::log::Configure({.level = LOG_LEVEL_FATAL, .pids = {1}});
  qv::log::Warn("the threshold is another process's");
  EXPECT_THAT(texts, testing::ElementsAre("an error at the threshold", "the threshold is another process's"));
}

TEST_F(LogTest, AFullFileIsRotated) {
  const support::ScratchFolder folder;
  const std::string file = folder.path() / "host.log";
  const mode_t mask = umask(0);
  // Two lines of 59 characters fit.
  qv::log::Configure({.file = file, .max_file_bytes = 120, .kept_files = 1, .to_stderr = false});
  for (const char* text : {"1", "2", "3", "4", "5"}) Print(text);
  umask(mask);
  EXPECT_THAT(support::ReadWholeFile(file), testing::MatchesRegex(".* 5\n"));
  EXPECT_THAT(support::ReadWholeFile(folder.path() / "host.1.log"), testing::MatchesRegex(".* 3\n.* 4\n"));
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "host.2.log"));
  EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600));
}

TEST_F(LogTest, AFileThatCannotBeWrittenNeverThrows) {
  testing::internal::CaptureStderr();
  qv::log::Configure({.file = "/dev/full", .to_stderr = false});
  for (int i = 0; i < 2; ++i) EXPECT_LT(Print("lost"), 0);
  const std::string reported = testing::internal::GetCapturedStderr();
  EXPECT_THAT(reported, testing::HasSubstr("No space left on device"));
  EXPECT_EQ(std::count(reported.begin(), reported.end(), '\n'), 1);
}

}  // namespace
