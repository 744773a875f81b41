/// Random capability lists of several slaves, among obstacles in the file system.

#include <algorithm>
#include <fstream>
#include <random>

#include "devices/devicesteps.h"
#include "log/log.h"
#include "slavedata.h"
#include "support/hosttest.h"

namespace {

namespace fs = std::filesystem;
using support::Lines;

/// What one slave does: it sends a list, or, with none, is removed.
struct Step {
  int zr = 0;
  Json::Value list;
};

constexpr int kUnruly = 7;
constexpr const char* kNames[] = {
    "0/v/a.cap",  "0/v",       "0/v/a.cap/b",  "3//v/./b.cap", "0/w.cap",    "0/.",          "0/../8/x",
    "0/.new",     "",          "8/9",          "s/a.cap",      "s/b/a.cap",  "s.cap",        "s",
    "./s//b.cap", "8/v/a.cap", "s/../8/x.cap", "/s/a.cap",     ".new/a.cap", "s/a.cap/b.cap"};
/// Where obstacles stand: in the folder of the unruly slave alone.
constexpr const char* kObstructed[] = {"7", "7/v", "7/v/a.cap", "7/w.cap"};

struct CapabilityTest : testing::Test {
  CapabilityTest() {
    qv::log::SetSink([](const qv::log::Line&) {});
    fs::create_directory(outside_);
  }
  ~CapabilityTest() override { qv::log::Reset(); }

  int Random(std::size_t below) { return std::uniform_int_distribution(0, static_cast<int>(below) - 1)(random_); }

  Step RandomStep() {
    Step step{.zr = kUnruly + Random(3), .list = Json::Value(Json::arrayValue)};
    for (int count = Random(8); count > 0; --count) {
      Json::Value& entry = step.list.append(support::Parse(R"({"camVendor":"v"})"));
      entry["camModel"] = Random(2) == 0 ? "M" : "M-API";
      entry["capFileName"] = kNames[Random(std::size(kNames))];
      entry["camCap"] = Random(1000);
    }
    return step;
  }

  /// Puts a link, a file or a folder where nothing is.
  void Obstruct() {
    const fs::path path = folder_ / "capability" / kObstructed[Random(std::size(kObstructed))];
    std::error_code ignored;  // another obstacle may be on the way
    if (fs::exists(fs::symlink_status(path, ignored))) return;
    const fs::path parent = path.parent_path();
    if (fs::is_symlink(parent) || fs::is_symlink(parent.parent_path())) return;
    fs::create_directories(parent, ignored);
    const int kind = Random(3);
    if (kind == 0) fs::create_directory_symlink(outside_, path, ignored);
    if (kind == 1) fs::create_directories(path / "in the way", ignored);
    if (kind == 2) std::ofstream(path) << "in the way";
    ++obstacles_;
  }
  void Open() const {
    const qv::db::Options options = support::OptionsFor(folder_);
    qv::db::Open(folder_, options);
  }
  /// @return how many operations failed
  static int Take(const Step& step) {
    qv::db::UnitOfWork unit(step.zr);
    step.list.empty() ? static_cast<void>(CamDelByZrId(step.zr)) : SaveCamCapFiles(step.zr, step.list);
    unit.Commit();
    return unit.failures();
  }
  /// Takes the steps of one host. @param alone  without the unruly slave and obstacles
  /// @return the failures of the other slaves' documents, then their rows and files
  Lines Run(const std::vector<Step>& steps, bool alone) {
    Lines others;
    support::ReturnDatabasesBelow(folder_);
    fs::remove_all(folder_);
    support::UseReadyDatabase(folder_);
    Open();
    for (const Step& step : steps) {
      if (alone && step.zr == kUnruly) continue;
      if (!alone && Random(3) == 0) Obstruct();
      const int failures = Take(step);
      if (step.zr != kUnruly) others.push_back(std::to_string(failures));
    }
    for (const std::string& row : support::QueryFolder(
             folder_, "SELECT owner_zr_id,path,content FROM capability_file WHERE owner_zr_id<>7 ORDER BY 1,2")) {
      others.push_back(row);
    }
    for (const std::string& file : support::DumpFiles(folder_)) {
      if (file.starts_with("capability/8/") || file.starts_with("capability/9/")) others.push_back(file);
    }
    qv::db::Close();
    return others;
  }

  support::ScratchFolder scratch_;
  const fs::path folder_ = scratch_.path() / "data";
  const fs::path outside_ = scratch_.path() / "outside";
  std::mt19937 random_;
  int obstacles_ = 0;
};

TEST_F(CapabilityTest, OtherSlavesNoticeNothingAndFilesFollowTheirRows) {
  const int rounds = std::getenv("QV_LONG_TESTS") != nullptr ? 2000 : 25;
  int failing = 0;
  for (int round = 0; round < rounds; ++round) {
    random_.seed(static_cast<unsigned>(round));
    std::vector<Step> steps(12);
    for (Step& step : steps) step = RandomStep();
    const Lines undisturbed = Run(steps, true);
    ASSERT_EQ(Run(steps, false), undisturbed) << "seed " << round;
    ASSERT_TRUE(fs::is_empty(outside_)) << "seed " << round;
    failing += support::ReadWholeFile(folder_ / "capability.stamp").find('\0') != std::string::npos ? 1 : 0;

    fs::remove_all(folder_ / "capability/7");
    fs::remove(folder_ / "capability.stamp");
    Open();
    qv::db::Close();
    Lines expected = support::QueryFolder(folder_,
                                          "SELECT 'capability/' || path || ' 384 ' || content FROM capability_file "
                                          "WHERE id IN (SELECT MIN(id) FROM capability_file GROUP BY path)");
    std::sort(expected.begin(), expected.end());
    ASSERT_EQ(support::DumpFiles(folder_), expected) << "seed " << round;
  }
  EXPECT_GT(obstacles_, rounds);
  EXPECT_GT(failing, rounds / 10) << "rounds that left files for later";
}

}  // namespace
