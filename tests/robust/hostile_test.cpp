/// What a slave in the wrong hands could bring about: the memory stays in proportion.

#include <regex>

#include "tools/toolrunner.h"

namespace qv::test {
namespace {

namespace fs = std::filesystem;

constexpr int kDone = 0;
constexpr int kBadDocument = 65;

using HostileTest = ToolTest;

TEST_F(HostileTest, MemoryIsBoundedByTheBytesAndTheValuesOfADocument) {
#ifdef QV_SANITIZED
  GTEST_SKIP() << "a sanitizer takes memory of its own";
#endif
  constexpr std::size_t kOfEveryRun = 32 << 20;
  constexpr std::size_t kPerByte = 4;
  constexpr std::size_t kPerValue = 400;
  const struct {
    const char* start;
    std::string command;  ///< writes the middle of the document, N times or 100 N bytes
    const char* end;
    std::size_t values;  ///< for each of the N
    int status;
  } cases[] = {
      {R"({"x":[0)", "seq -f ',[%.0f]' N", "]}", 2, kBadDocument},
      {R"({"camera_info":[{})", R"(seq -f ',{"id":%.0f,"port":1}' N)", "]}", 3, kDone},
      {R"({"x":0)", R"(seq -f ',"a name of some length, number %.0f":0' N)", R"(,"x":0})", 1, kBadDocument},
      {R"({"speaker_info":[{"id":1,"name":")", "head -c N00 /dev/zero | tr '\\0' x", R"("}]})", 0, kDone},
  };
  const std::string n = std::getenv("QV_LONG_TESTS") == nullptr ? "100000" : "4000000";
  for (const auto& [start, command, end, values, status] : cases) {
    RemoveHost();
    Write("start", start);
    Write("end", end);
    // By another process: this one's memory would be counted as that of its children.
    Shell("{ cat start; " + std::regex_replace(command, std::regex("N"), n) + "; cat end; } > document");
    const std::size_t bytes = fs::file_size(folder_ / "document");
    const Result result = Run("--synchronous normal --log-level 0 pair 7 document");
    EXPECT_EQ(result.status, status) << start << command << ": " << result.err.substr(0, 500);
    EXPECT_LE(static_cast<std::size_t>(result.peak_kilobytes) << 10,
              kOfEveryRun + kPerByte * bytes + kPerValue * values * std::stoul(n))
        << start << command;
  }
}

}  // namespace
}  // namespace qv::test
