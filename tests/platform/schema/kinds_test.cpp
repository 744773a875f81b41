#include "schema/kinds.h"

#include <filesystem>
#include <fstream>

#include "support/hosttest.h"

namespace {

using qv::schema::Kind;

struct Kinds : support::HostTest {
  static std::string Document(const std::string& file) {
    std::ifstream stream(std::filesystem::path(QV_SOURCES) / file);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
};

TEST_F(Kinds, WithASectionComeFromItAndAreInTheExamples) {
  SaveSlaveInfoUpdate(SlaveZR(), Parse(support::kEverySection), 7);
  const Json::Value snapshot = Parse(Document("examples/slave7-snapshot-1.json"));
  const Json::Value report = Parse(Document("examples/slave7-status.json"));
  for (const Kind& kind : qv::schema::Kinds()) {
    if (kind.section.name == nullptr) continue;
    EXPECT_EQ(kind.table->Count({}), 1) << kind.name;
    EXPECT_TRUE(snapshot.isMember(kind.section.name)) << kind.section.name;
    EXPECT_EQ(report.isMember(kind.section.name), kind.section.in_reports) << kind.section.name;
  }
}

}  // namespace
