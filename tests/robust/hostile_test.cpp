/// Documents that a slave in the wrong hands could send: each is refused with its place, or applied correctly. The
/// log stays in its lines, and the memory in proportion.

#include <regex>

#include "tools/toolrunner.h"

namespace qv::test {
namespace {

namespace fs = std::filesystem;

constexpr int kDone = 0;
constexpr int kBadDocument = 65;

std::string Speaker(const std::string& members) { return "{\"speaker_info\":[{" + members + "}]}"; }

using HostileTest = ToolTest;

TEST_F(HostileTest, DocumentsAreRefusedOrApplied) {
  struct Case {
    std::string document;
    const char* query = nullptr;  ///< asked afterwards; null: the document is refused
    std::string answer = {};      ///< the one row, or nothing
  };
  const char* const name = "SELECT name FROM ipspeaker";
  const char* const hex = "SELECT hex(name) FROM ipspeaker";
  const char* const id = "SELECT id_on_rec_server FROM ipspeaker";
  const std::string sql = R"('); DROP TABLE ipspeaker; --" \\ % _ ; $1 ?1 :a @b)";
  const std::string json = R"('); DROP TABLE ipspeaker; --\" \\\\ % _ ; $1 ?1 :a @b)";
  const std::string deep = std::string(100'000, '[') + std::string(100'000, ']');
  const Case cases[] = {
      {deep},
      {std::regex_replace(std::string(100'000, '{'), std::regex("\\{"), "{\"a\":") + "1" + std::string(100'000, '}')},
      {Speaker("\"id\":1,\"x\":" + deep)},
      {Speaker("\"id\":1,\"volume\":1e400")},
      {Speaker("\"id\":2147483648")},
      {Speaker("\"id\":99999999999999999999")},
      {Speaker("\"id\":1,\"name\":\"\xff\xfe\"")},
      {Speaker("\"id\":1,\"name\":\"a\nb\"")},
      {R"({"speaker_info":[null,1,"x",[],true]})"},
      {R"({"speaker_info":"x","POS_info":7,"camera_info":{"a":1},"camCapList":false})"},
      {Speaker("\"id\":2147483647"), id, "2147483647"},
      {Speaker("\"id\":-2147483648"), id, "-2147483648"},
      {Speaker("\"id\":1.5"), id, "1"},
      {Speaker(R"("id":1,"name":"a\u0000b")"), hex, "610062"},
      {Speaker(R"("id":1,"name":"a\nERR faked\r\u001b[31m\u2028b")"), hex,
       "610A4552522066616B65640D1B5B33316DE280A862"},
      {Speaker("\"id\":1,\"name\":\"" + json + "\",\"note\":\"" + json + "\",\"" + json + "\":\"x\""), name, sql},
      {Speaker(R"("id":1,"name":"%s%n%*d%99999999d")"), name, "%s%n%*d%99999999d"},
  };
  Write("empty", R"({"camera_info":[]})");
  for (const Case& hostile : cases) {
    const std::string label = hostile.document.substr(0, 80);
    fs::remove_all(folder_ / "data");
    Write("document", hostile.document);
    ASSERT_EQ(Run("pair 7 empty").status, 0);
    const Result result = Run("--log-level 7 -o json update 7 document");
    EXPECT_EQ(result.err.find_first_of("\x1b\r"), std::string::npos) << label;
    EXPECT_EQ(result.err.find("\nERR faked"), std::string::npos) << label;
    EXPECT_THAT(support::FindDamage(folder_ / "data"), testing::IsEmpty()) << label;
    const bool is_refused = hostile.query == nullptr;
    EXPECT_EQ(result.status, is_refused ? kBadDocument : kDone) << label << ": " << result.err;
    EXPECT_EQ(result.err.find("qvcms: document") != std::string::npos, is_refused) << label << ": " << result.err;
    const auto rows = support::QueryFolder(folder_ / "data", is_refused ? name : hostile.query);
    EXPECT_EQ(rows.empty() ? "" : rows[0], hostile.answer) << label;
  }
}

TEST_F(HostileTest, LinksInPlaceOfTheDataAreNotFollowed) {
  Write("document", R"({"camCapList":[{"camVendor":"v","camModel":"m","capFileName":"3/x.cap","camCap":{}}]})");
  Write("victim", "untouched");
  for (const char* name : {"writer.lock", "staging"}) {
    fs::remove_all(folder_ / "data");
    fs::create_directory(folder_ / "data");
    fs::create_symlink(folder_ / "victim", folder_ / "data" / name);
    const Result result = Run("pair 7 document");
    EXPECT_THAT(result.status, testing::AnyOf(0, 1)) << name;
    EXPECT_EQ(support::ReadWholeFile(folder_ / "victim"), "untouched") << name;
    EXPECT_FALSE(result.err.empty()) << name << ": nobody was told";
  }
}

TEST_F(HostileTest, MemoryStaysInProportion) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer takes memory of its own";
#endif
  constexpr double kFactor = 25;
  constexpr double kAlways = 128 * 1024;  // KiB that any document may take
  constexpr long kFloor = 32 * 1024;      // KiB of any run, whatever it reads
  const bool is_long = std::getenv("QV_LONG_TESTS") != nullptr;
  const std::size_t bytes = (is_long ? 100U : 8U) << 20;
  const std::size_t entries = is_long ? 1'000'000 : 60'000;
  const std::tuple<std::string, std::string, std::size_t, std::string, int> cases[] = {
      {"{\"speaker_info\":[{\"id\":1,\"name\":\"", "x", bytes, "\"}]}", kDone},
      {"{\"speaker_info\":[{\"id\":1,\"name\":\"", "\\n", bytes / 2, "\"}]}", kDone},
      {"{\"x\":[0", ",0", bytes / 2, "]}", kBadDocument},
      {"{\"x\":[{}", ",{}", bytes / 3, "]}", kBadDocument},
      {"{\"POS_info\":[", " ", bytes, "]}", kDone},
      {"{\"speaker_info\":[{\"id\":0}",
       ",{\"id\":#,\"name\":\"speaker # in the hall\",\"note\":\"above the north door, facing the stairs\"}", entries,
       "]}", kDone},
      {"{\"speaker_info\":[{}", ",{}", 4 * entries, "]}", kBadDocument},
      {"{\"x\":[", "[1],", bytes / 4, "", kBadDocument},
      {"{\"speaker_info\":[{\"id\":1,\"name\":\"", ",", bytes, "\"}]}", kDone},
      {"{\"speaker_info\":[{\"id\":0}", ",{\"id\":#,\"status\":1}", 40'000, "]}", kDone},
      {"{\"speaker_info\":[{\"id\":1,\"x\":[\"\"", ",\"a text of some length\"", bytes / 24, "]}]}", kDone},
      {"{\"POS_eventconf\":[{\"id\":1,\"x\":[\"\"", ",\"a text of some length\"", bytes / 24, "]}]}", kDone},
  };
  for (const auto& [start, repeated, count, end, status] : cases) {
    fs::remove_all(folder_ / "data");
    std::ofstream document(folder_ / "document", std::ios::binary);
    document << start;
    for (std::size_t number = 1; number <= count; ++number) {
      for (const char letter : repeated) letter == '#' ? document << number : document << letter;
    }
    document << end;
    document.close();
    const double limit = std::max(static_cast<double>(fs::file_size(folder_ / "document")) / 1024 * kFactor, kAlways);
    const Result result = Run("--synchronous normal --log-level 0 pair 7 document");
    EXPECT_EQ(result.status, status) << start << repeated << ": " << result.err.substr(0, 500);
    EXPECT_LE(static_cast<double>(result.peak_kilobytes - kFloor), limit) << start << repeated;
  }
}

}  // namespace
}  // namespace qv::test
