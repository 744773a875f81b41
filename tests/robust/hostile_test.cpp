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
      {Speaker("\"id\":1.5")},
      {Speaker("\"id\":99999999999999999999")},
      {Speaker("\"id\":1,\"name\":\"\xff\xfe\"")},
      {Speaker("\"id\":1,\"name\":\"a\nb\"")},
      {R"({"speaker_info":[null,1,"x",[],true]})"},
      {R"({"speaker_info":"x","POS_info":7,"camera_info":{"a":1},"camCapList":false})"},
      {Speaker("\"id\":2147483647"), id, "2147483647"},
      {Speaker("\"id\":-2147483648"), id, "-2147483648"},
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
  for (const char* name : {"writer.lock", "capability"}) {
    fs::remove_all(folder_ / "data");
    fs::create_directory(folder_ / "data");
    fs::create_symlink(folder_ / "victim", folder_ / "data" / name);
    const Result result = Run("pair 7 document");
    EXPECT_THAT(result.status, testing::AnyOf(0, 1)) << name;
    EXPECT_EQ(support::ReadWholeFile(folder_ / "victim"), "untouched") << name;
    EXPECT_FALSE(result.err.empty()) << name << ": nobody was told";
  }
}

TEST_F(HostileTest, MemoryIsBoundedByTheBytesAndTheValuesOfADocument) {
#ifdef QV_SANITIZED
  GTEST_SKIP() << "a sanitizer takes memory of its own";
#endif
  constexpr std::size_t kOfEveryRun = 32 << 20;
  constexpr std::size_t kPerByte = 4;
  constexpr std::size_t kPerValue = 400;
  const std::size_t n = std::getenv("QV_LONG_TESTS") == nullptr ? 100'000 : 4'000'000;
  struct Case {
    const char* start;
    const char* piece;  ///< repeated; with its number in the place of "#"
    const char* end;
    std::size_t pieces;
    std::size_t values;
    int status;
  };
  const Case cases[] = {
      {R"({"x":[0)", ",[]", "]}", n, n, kBadDocument},
      {R"({"speaker_info":[{})", ",{}", "]}", n / 4, n / 4, kDone},
      {R"({"camera_info":[{})", R"(,{"id":#,"port":1})", "]}", n, 3 * n, kDone},
      {R"({"POS_eventconf":[{"id":1,"x":[0)", ",[]", "]}]}", n, n, kDone},
      {R"({"speaker_info":[{"id":1,"x":[0)", R"(,"a text of some length")", "]}]}", n, n, kDone},
      {R"({"POS_info":[)", " ", "]}", 100 * n, 0, kDone},
      {R"({"speaker_info":[{"id":1,"name":")", "x", R"("}]})", 100 * n, 0, kDone},
      {R"({"speaker_info":[{"id":1,"name":")", "\\n", R"("}]})", 50 * n, 0, kDone},
      {R"({"speaker_info":[{"id":1,"name":")", "x", "", 100 * n, 0, kBadDocument},
      {R"({"x":0)", R"(,"a name of some length, number #":0)", R"(,"x":0})", n, n, kBadDocument},
  };
  for (const auto& [start, piece, end, pieces, values, status] : cases) {
    fs::remove_all(folder_ / "data");
    // Without a copy in memory: a child process counts what its parent held when it was forked.
    std::ofstream document(folder_ / "document", std::ios::binary);
    document << start;
    for (std::size_t number = 1; number <= pieces; ++number) {
      for (const char* letter = piece; *letter != '\0'; ++letter) {
        if (*letter == '#') {
          document << number;
        } else {
          document << *letter;
        }
      }
    }
    document << end;
    document.close();
    const std::size_t size = fs::file_size(folder_ / "document");
    const Result result = Run("--synchronous normal --log-level 0 pair 7 document");
    EXPECT_EQ(result.status, status) << start << piece << ": " << result.err.substr(0, 500);
    EXPECT_LE(static_cast<std::size_t>(result.peak_kilobytes) << 10, kOfEveryRun + kPerByte * size + kPerValue * values)
        << start << piece;
  }
}

}  // namespace
}  // namespace qv::test
