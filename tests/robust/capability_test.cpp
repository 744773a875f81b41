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
constexpr const char* kOwnNames[] = {"0/v/a.cap", "0/v",      "0/v/a.cap/b",  "3//v/./b.cap", "0/w.cap", "0/.",
                                     "0",         "0/../8/x", "../8/v/a.cap", "0/.new",       "0/v/",    "/0/x",
                                     "",          "8/9"};
constexpr const char* kSharedNames[] = {"s/a.cap",   "s/b/a.cap",     "s.cap", "s", "s.cap/a.cap", "./s//b.cap",
                                        "8/v/a.cap", "s/../8/x.cap",  "9",     "8", ".new/a.cap",  "s/a.cap/b.cap",
                                        "/s/a.cap",  "capability/8/a"};
/// Where obstacles stand: in the folder of the unruly slave alone.
constexpr const char* kObstructed[] = {"7", "7/v", "7/v/a.cap", "7/w.cap"};

struct CapabilityTest : testing::Test {
  CapabilityTest() {
    qv::log::SetSink([](const qv::log::Line&) {});
    fs::create_directory(scratch_.path() / "outside");
  }
  ~CapabilityTest() override { qv::log::Reset(); }

  int Random(int below) { return std::uniform_int_distribution(0, below - 1)(random_); }

  Step RandomStep() {
    Step step{.zr = kUnruly + Random(3), .list = Json::Value(Json::arrayValue)};
    const int count = Random(8);
    for (int i = 0; i < count; ++i) {
      const bool is_shared = Random(2) == 0;
      Json::Value& entry = step.list.append(support::Parse(R"({"camVendor":"v"})"));
      entry["camModel"] = is_shared ? "M-API" : "M";
      entry["capFileName"] =
          is_shared ? kSharedNames[Random(std::size(kSharedNames))] : kOwnNames[Random(std::size(kOwnNames))];
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
    switch (Random(3)) {
      case 0:
        fs::create_directory_symlink(scratch_.path() / "outside", path, ignored);
        break;
      case 1:
        fs::create_directories(path / "in the way", ignored);
        break;
      default:
        std::ofstream(path) << "in the way";
    }
    obstacles_.push_back(path);
  }
  void RemoveObstacles() {
    for (const fs::path& path : obstacles_) {
      std::error_code ignored;
      const bool is_file = fs::is_regular_file(path, ignored);
      if (fs::is_symlink(path) || (is_file && support::ReadWholeFile(path) == "in the way")) fs::remove(path, ignored);
      fs::remove(path / "in the way", ignored);
      if (fs::is_directory(path, ignored)) fs::remove(path, ignored);
    }
    obstacles_.clear();
  }

  void Open() const {
    qv::db::Options options;
    options.driver.durability = qv::db::Durability::Process;
    qv::db::Open(folder_, options);
  }
  /// @return how many operations failed
  static int Take(const Step& step) {
    qv::db::UnitOfWork unit(step.zr);
    step.list.empty() ? static_cast<void>(CamDelByZrId(step.zr)) : SaveCamCapFiles(step.zr, step.list);
    unit.Commit();
    return unit.failures();
  }

  /// Rows and files of all slaves but the unruly one, and the failures of their documents.
  struct Others {
    std::vector<int> failures = {};
    Lines rows = {}, files = {};
    bool operator==(const Others&) const = default;
  };
  /// Takes the steps of one host. @param alone  without the unruly slave and obstacles
  Others Run(const std::vector<Step>& steps, bool alone) {
    Others others;
    fs::remove_all(folder_);
    Open();
    for (const Step& step : steps) {
      if (alone && step.zr == kUnruly) continue;
      if (!alone && Random(3) == 0) Obstruct();
      const int failures = Take(step);
      if (step.zr != kUnruly) others.failures.push_back(failures);
    }
    others.rows = support::QueryFolder(folder_,
                                       "SELECT owner_zr_id,path,content FROM capability_file "
                                       "WHERE owner_zr_id<>7 ORDER BY owner_zr_id,path");
    for (const std::string& file : support::DumpFiles(folder_)) {
      if (file.starts_with("capability/8/") || file.starts_with("capability/9/")) others.files.push_back(file);
    }
    qv::db::Close();
    return others;
  }

  support::ScratchFolder scratch_;
  const fs::path folder_ = scratch_.path() / "data";
  std::mt19937 random_;
  std::vector<fs::path> obstacles_;
};

TEST_F(CapabilityTest, OtherSlavesNoticeNothingAndFilesFollowTheirRows) {
  const int rounds = std::getenv("QV_LONG_TESTS") != nullptr ? 2000 : 40;
  int obstacles = 0;
  int failing = 0;
  for (int round = 0; round < rounds; ++round) {
    random_.seed(static_cast<unsigned>(round));
    std::vector<Step> steps(12);
    for (Step& step : steps) step = RandomStep();
    const Others undisturbed = Run(steps, true);
    ASSERT_EQ(Run(steps, false), undisturbed) << "seed " << round;
    ASSERT_TRUE(fs::is_empty(scratch_.path() / "outside")) << "seed " << round;
    obstacles += static_cast<int>(obstacles_.size());
    failing += support::ReadWholeFile(folder_ / "capability.stamp").find('\0') != std::string::npos ? 1 : 0;

    RemoveObstacles();
    Open();
    qv::db::Close();
    Lines expected = support::QueryFolder(folder_,
                                          "SELECT 'capability/' || path || ' 384 ' || content FROM capability_file "
                                          "WHERE id IN (SELECT MIN(id) FROM capability_file GROUP BY path)");
    std::sort(expected.begin(), expected.end());
    ASSERT_EQ(support::DumpFiles(folder_), expected) << "seed " << round;
  }
  EXPECT_GT(obstacles, rounds);
  EXPECT_GT(failing, rounds / 10) << "rounds that left files for later";
}

}  // namespace
