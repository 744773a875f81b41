/// The same calls on SQLite and on PostgreSQL: after each of them the same rows, messages, files and results.

#include <qv/json.h>

#include <algorithm>
#include <cstdio>

#include "randomdocuments.h"
#include "scratchhost.h"

namespace qv {
namespace {

using Lines = std::vector<std::string>;

struct EnginesTest : HostApiTest {
  /// Numbers have fifteen digits, and whole ones no point.
  static std::string WithoutFormat(const std::string& line) {
    std::string text;
    std::istringstream fields(line);
    for (std::string field; std::getline(fields, field, '|'); text += field + '|') {
      const std::size_t begin = field.find('=') + 1;
      char* end = nullptr;
      const double number = std::strtod(field.c_str() + begin, &end);
      if (*end != '\0' || field.find_first_of(".e", begin) == std::string::npos) continue;
      char digits[32];
      static_cast<void>(std::snprintf(digits, sizeof digits, "%.15g", number));
      field.replace(begin, std::string::npos, digits);
    }
    return text;
  }

  static std::string OneCall(Host& host, support::RandomDocuments& documents) {
    const int zr = 7 + static_cast<int>(documents.Below(2));
    const unsigned faults = documents.Below(2) * documents.Below(4);
    const ImportOptions options{.model = "M" + std::to_string(documents.Below(3)),
                                .allow_removals = documents.Below(2) == 0};
    try {
      switch (documents.Below(9)) {
        case 0:
          return ToJson(host.Remove(zr));
        case 1: {
          const auto kind = Host::ConfigurableKinds()[documents.Below(2)];
          const int id = 1 + static_cast<int>(documents.Below(12));
          return std::to_string(host.SetConfiguring(kind, id, documents.Below(2) == 0).changes.size());
        }
        case 2:
          return ToJson(host.Plan(zr, Document::Parse(documents.Snapshot(faults)), options));
        case 3:
        case 4:
          return ToJson(host.Pair(zr, Document::Parse(documents.Snapshot(faults)), options));
        case 5:
        case 6:
          return ToJson(host.Status(zr, Document::Parse(documents.Status(faults))));
        default:
          return ToJson(host.Update(zr, Document::Parse(documents.Snapshot(faults)), options));
      }
    } catch (const Refusal& refusal) {
      return std::string(NameOf(refusal.code())) + ": " + refusal.what();
    }
  }

  /// What each call says, and what the host holds after it.
  std::vector<Lines> Run(const HostOptions& options, const std::string& query, unsigned seed) {
    Host& host = Open(options);
    support::RandomDocuments documents(seed);
    std::vector<Lines> after;
    for (int call = 0; call < 8; ++call) {
      Lines& lines = after.emplace_back();
      const std::string said = OneCall(host, documents);
      for (const std::string& row : support::QueryFolder(options.data_folder, query)) {
        if (!row.starts_with("schema_version")) lines.push_back(WithoutFormat(row));
      }
      for (const std::string& file : support::DumpFiles(options.data_folder)) lines.push_back(file);
      std::sort(lines.begin(), lines.end());
      lines.push_back(said);
    }
    host_.reset();
    return after;
  }
};

TEST_F(EnginesTest, HoldAndSayTheSameAfterEachCall) {
  if (!support::OnPostgresql()) GTEST_SKIP() << "there is no other engine";
  const char* const sequences = std::getenv("QV_SEQUENCES");
  const char* const first = std::getenv("QV_SEED");
  std::size_t lines = 0;
  Open();
  const std::string query = support::QueryForAllRows(folder_ / "data");
  host_.reset();
  unsigned seed = first == nullptr ? 1 : static_cast<unsigned>(std::stoul(first));
  for (int i = sequences == nullptr ? 10 : std::stoi(sequences); i > 0 && !HasFailure(); --i, ++seed) {
    const std::filesystem::path sqlite = folder_ / "sqlite";
    support::ReturnDatabasesBelow(folder_ / "data");
    for (const auto& folder : {folder_ / "data", sqlite}) std::filesystem::remove_all(folder);
    support::UseReadyDatabase(folder_ / "data");
    const std::vector<Lines> there = Run(Options(), query, seed);
    const std::vector<Lines> here = Run({.data_folder = sqlite, .log = {.to_stderr = false}}, query, seed);
    lines += here.back().size();
    for (std::size_t call = 0; call < here.size() && !HasFailure(); ++call) {
      EXPECT_EQ(here[call], there[call]) << "seed " << seed << ", call " << call << ": "
                                         << support::FirstDifference(here[call], there[call]);
    }
  }
  EXPECT_GT(lines, 300) << "most of it was refused";
}

}  // namespace
}  // namespace qv
