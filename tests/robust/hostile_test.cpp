/// Documents that a slave in the wrong hands could send: each is refused with its place, or applied correctly. The
/// log stays in its lines, the memory in proportion, and nothing outside the data folder is touched.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <sstream>

#include "support/hoststate.h"
#include "tools/toolrunner.h"

namespace qv::test {
namespace {

namespace fs = std::filesystem;

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kBadDocument = 65;

std::string Repeat(const std::string& text, std::size_t count) {
  std::string all;
  all.reserve(text.size() * count);
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

std::string Speaker(const std::string& members) { return "{\"speaker_info\":[{" + members + "}]}"; }

std::string ManySpeakers(int count) {
  std::string text = "{\"speaker_info\":[";
  for (int id = 1; id <= count; ++id) {
    const std::string number = std::to_string(id);
    text += (id > 1 ? ",{\"id\":" : "{\"id\":") + number + ",\"name\":\"speaker " + number + "\"}";
  }
  return text + "]}";
}

std::string CapabilityFile(const std::string& name) {
  return R"({"camCapList":[{"camVendor":"v","camModel":"m","capFileName":")" + name + R"(","camCap":{"a":1}}]})";
}

class HostileTest : public ToolTest {
 protected:
  struct Measured {
    int status = -1;
    long peak_kilobytes = 0;
  };

  /// Runs qvcms with DOC as document and tells what it used; the output goes to the files "out" and "err".
  Measured Measure(const std::string& command) const {
    const std::string data = (folder_ / "data").string();
    std::istringstream text("qvcms --data-dir " + data + " --synchronous normal " + command);
    std::vector<std::string> words{std::istream_iterator<std::string>(text), {}};
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
      if (chdir(folder_.c_str()) != 0) _exit(126);
      dup2(open("out", O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
      dup2(open("err", O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
      execv(QVCMS_PATH, pointers.data());
      _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), usage.ru_maxrss};
  }

  /// What lies beside the data folder.
  std::vector<std::string> Outside() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(folder_)) {
      const std::string name = entry.path().lexically_relative(folder_).string();
      if (name != "data" && !name.starts_with("data/")) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
  }
};

TEST_F(HostileTest, DocumentsAreRefusedOrApplied) {
  struct Case {
    const char* name;
    std::string document;
    int status;
    const char* query;   ///< asked afterwards; null: nothing
    std::string answer;  ///< its rows, joined by ";"
  };
  const char* const names = "SELECT name FROM ipspeaker ORDER BY id";
  const char* const ids = "SELECT id_on_rec_server FROM ipspeaker ORDER BY id";
  const char* const count = "SELECT COUNT(*) FROM ipspeaker";
  const char* const files = "SELECT path FROM capability_file";
  const std::string sql = R"('); DROP TABLE ipspeaker; --" \\ % _ ; $1 ?1 :a @b)";
  const std::string sql_json = R"('); DROP TABLE ipspeaker; --\" \\\\ % _ ; $1 ?1 :a @b)";
  const Case cases[] = {
      {"nested arrays", Repeat("[", 100'000) + Repeat("]", 100'000), kBadDocument, count, "0"},
      {"nested objects", Repeat("{\"a\":", 100'000) + "1" + Repeat("}", 100'000), kBadDocument, count, "0"},
      {"nested inside", Speaker("\"id\":1,\"x\":" + Repeat("[", 100'000) + Repeat("]", 100'000)), kBadDocument, count,
       "0"},
      {"1e400", Speaker("\"id\":1,\"volume\":1e400"), kBadDocument, count, "0"},
      {"-1e400 as id", Speaker("\"id\":-1e400"), kBadDocument, count, "0"},
      {"id over int", Speaker("\"id\":2147483648"), kBadDocument, count, "0"},
      {"id over 64 bits", Speaker("\"id\":99999999999999999999"), kBadDocument, count, "0"},
      {"largest id", Speaker("\"id\":2147483647"), kDone, ids, "2147483647"},
      {"smallest id", Speaker("\"id\":-2147483648"), kDone, ids, "-2147483648"},
      {"id half", Speaker("\"id\":1.5"), kDone, ids, "1"},
      {"NUL in a name", Speaker(R"("id":1,"name":"a\u0000b")"), kDone, "SELECT hex(name) FROM ipspeaker", "610062"},
      {"bad UTF-8", Speaker("\"id\":1,\"name\":\"\xff\xfe\""), kBadDocument, count, "0"},
      {"overlong UTF-8", Speaker("\"id\":1,\"name\":\"\xc0\xaf\""), kBadDocument, count, "0"},
      {"half a surrogate", Speaker(R"("id":1,"name":"\ud800")"), kBadDocument, count, "0"},
      {"raw control", Speaker("\"id\":1,\"name\":\"a\nb\""), kBadDocument, count, "0"},
      {"line breaks", Speaker(R"("id":1,"name":"a\nERR faked\r\u001b[31m\u2028b")"), kDone,
       "SELECT hex(name) FROM ipspeaker", "610A4552522066616B65640D1B5B33316DE280A862"},
      {"SQL",
       Speaker("\"id\":1,\"name\":\"" + sql_json + "\",\"host\":\"" + sql_json + "\",\"note\":\"" + sql_json + "\",\"" +
               sql_json + "\":\"" + sql_json + "\""),
       kDone, names, sql},
      {"printf", Speaker(R"("id":1,"name":"%s%n%*d%99999999d")"), kDone, names, "%s%n%*d%99999999d"},
      {"member twice", Speaker(R"("id":1,"id":2)"), kBadDocument, count, "0"},
      {"entry twice", R"({"speaker_info":[{"id":1,"name":"a"},{"id":1,"name":"b"}]})", kDone, nullptr, ""},
      {"entries of all types", R"({"speaker_info":[null,1,"x",[],true]})", kBadDocument, count, "0"},
      {"section of another type", R"({"speaker_info":"x","POS_info":7,"camera_info":{"a":1},"camCapList":false})",
       kBadDocument, count, "0"},
      {"absolute path", CapabilityFile("/etc/cron.d/x"), kDone, files, ""},
      {"path with ..", CapabilityFile("3/../../../out.cap"), kDone, files, ""},
      {"path to the database", CapabilityFile("3/../../qvcms.db"), kDone, files, ""},
      {"path with NUL", CapabilityFile(R"(3/a\u0000b)"), kDone, files, ""},
      {"path through a link", CapabilityFile("3/planted/x.cap"), kDone, files, ""},
      {"path onto a link", CapabilityFile("3/plantedfile"), kDone, files, ""},
      {"long path", CapabilityFile("3/" + std::string(5000, 'x')), kDone, files, ""},
  };
  Write("empty", "{}");
  fs::create_directory(folder_ / "outside");
  Write("outside/file", "untouched");
  for (const Case& hostile : cases) {
    fs::remove_all(folder_ / "data");
    Write("document", hostile.document);
    ASSERT_EQ(Measure("pair 7 empty").status, 0);
    fs::create_directories(folder_ / "data/capability/7");
    fs::create_directory_symlink(folder_ / "outside", folder_ / "data/capability/7/planted");
    fs::create_symlink(folder_ / "outside/file", folder_ / "data/capability/7/plantedfile");
    const auto outside = Outside();
    const Measured result = Measure("--log-level 7 -o json update 7 document");
    const std::string errors = ReadWhole(folder_ / "err");
    EXPECT_EQ(result.status, hostile.status) << hostile.name << ": " << errors;
    EXPECT_EQ(Outside(), outside) << hostile.name;
    EXPECT_EQ(ReadWhole(folder_ / "outside/file"), "untouched") << hostile.name;
    EXPECT_EQ(errors.find_first_of("\x1b\r"), std::string::npos) << hostile.name;
    EXPECT_EQ(errors.find("\nERR faked"), std::string::npos) << hostile.name;
    EXPECT_THAT(support::FindDamage(folder_ / "data"), testing::IsEmpty()) << hostile.name;
    if (hostile.status == kBadDocument) {
      EXPECT_THAT(errors, testing::HasSubstr("qvcms: document")) << hostile.name;
    }
    if (hostile.query == nullptr) continue;
    std::string rows;
    for (const std::string& row : support::QueryFolder(folder_ / "data", hostile.query)) {
      rows += (rows.empty() ? "" : ";") + row;
    }
    EXPECT_EQ(rows, hostile.answer) << hostile.name;
  }
}

TEST_F(HostileTest, LinksInPlaceOfTheDataAreNotFollowed) {
  Write("document", "{}");
  Write("victim", "untouched");
  for (const char* name : {"writer.lock", "staging"}) {
    fs::remove_all(folder_ / "data");
    fs::create_directory(folder_ / "data");
    fs::create_symlink(folder_ / "victim", folder_ / "data" / name);
    Write("document", CapabilityFile("3/x.cap"));
    const Measured result = Measure("pair 7 document");
    EXPECT_THAT(result.status, testing::AnyOf(kDone, kFailed)) << name;
    EXPECT_EQ(ReadWhole(folder_ / "victim"), "untouched") << name;
    EXPECT_FALSE(ReadWhole(folder_ / "err").empty()) << name << ": nobody was told";
  }
}

TEST_F(HostileTest, MemoryStaysInProportion) {
  constexpr double kFactor = 25;
  constexpr long kFloor = 32 * 1024;  // KiB of any run, whatever it reads
  const bool is_long = std::getenv("QV_LONG_TESTS") != nullptr;
  const std::size_t megabytes = is_long ? 100 : 8;
  const int entries = is_long ? 1'000'000 : 60'000;
  struct Case {
    const char* name;
    std::function<std::string()> document;
    int status;
  };
  const Case cases[] = {
      {"one long text", [&] { return Speaker("\"id\":1,\"name\":\"" + std::string(megabytes << 20, 'x') + "\""); },
       kDone},
      {"escapes", [&] { return Speaker("\"id\":1,\"name\":\"" + Repeat("\\n", megabytes << 19) + "\""); }, kDone},
      {"numbers nobody knows", [&] { return "{\"x\":[0" + Repeat(",0", megabytes << 19) + "]}"; }, kBadDocument},
      {"empty objects", [&] { return "{\"x\":[{}" + Repeat(",{}", (megabytes << 20) / 3) + "]}"; }, kBadDocument},
      {"blanks", [&] { return "{" + std::string(megabytes << 20, ' ') + "}"; }, kDone},
      {"many entries", [&] { return ManySpeakers(entries); }, kDone},
      {"many without id", [&] { return "{\"speaker_info\":[{}" + Repeat(",{}", entries) + "]}"; }, kBadDocument},
      {"not closed", [&] { return "{\"x\":[" + Repeat("[1],", megabytes << 18); }, kBadDocument},
  };
  for (const Case& large : cases) {
    fs::remove_all(folder_ / "data");
    Write("document", large.document());
    const double size = static_cast<double>(fs::file_size(folder_ / "document")) / 1024;
    const auto begin = std::chrono::steady_clock::now();
    const Measured result = Measure("--log-level 0 pair 7 document");
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(result.status, large.status) << large.name << ": " << ReadWhole(folder_ / "err").substr(0, 500);
    const double factor = static_cast<double>(result.peak_kilobytes - kFloor) / size;
    EXPECT_LE(factor, kFactor) << large.name;
    printf("%-22s %7.1f MiB, %7.1f MiB used, %5.1f times, %5.2f s\n", large.name, size / 1024,
           static_cast<double>(result.peak_kilobytes) / 1024, static_cast<double>(result.peak_kilobytes) / size,
           time.count());
  }
}

}  // namespace
}  // namespace qv::test
