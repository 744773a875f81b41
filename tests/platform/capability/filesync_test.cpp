/// Capability files: whose they are, and what a process finds that another one left.

#include <csignal>
#include <fstream>

#include "camcap.h"
#include "support/hosttest.h"

namespace {

namespace fs = std::filesystem;

struct CapabilityFiles : support::HostTest {
  /// Begins a document.
  void Begin() {
    std::string path;
    EXPECT_EQ(CheckAndMakeCapDir(path), 0);
    EXPECT_EQ(path, folder() / "capability");
  }
  static int Take(const std::string& name, int content) {
    return CreateCapFileByJsonInterface(name, "Vendor", "M-API", content);
  }
  fs::path Path(const std::string& name) const { return folder() / "capability" / name; }
  std::string Content(const std::string& name) const { return support::ReadWholeFile(Path(name)); }
};

TEST_F(CapabilityFiles, OneOfAnUnknownReporterGoesToTheFirstThatReportsIt) {
  Begin();
  EXPECT_EQ(Take("a.cap", 1), 0);
  EXPECT_THAT(Rows("SELECT owner_zr_id FROM capability_file"), ElementsAre("0"));
  Begin();
  support::InUnit(
      true, [] { Take("a.cap", 2); }, 9);
  EXPECT_THAT(Rows("SELECT owner_zr_id FROM capability_file"), ElementsAre("9"));
  EXPECT_EQ(Content("a.cap"), "2\n");
}

TEST_F(CapabilityFiles, OfTwoWithOnePathTheFirstCountsInEachDocument) {
  for (const int first : {1, 3}) {
    Begin();
    EXPECT_EQ(Take("v//a.cap", first), 0);
    EXPECT_EQ(Take("v/./a.cap", first + 1), 0);
    EXPECT_EQ(Content("v/a.cap"), std::to_string(first) + "\n");
  }
  EXPECT_EQ(Take("../a.cap", 1), -1);
}

TEST_F(CapabilityFiles, AProcessThatDiesWhileItMakesOneLeavesNoStampThatVouchesForIt) {
  Begin();
  Take("a.cap", 1);
  std::ofstream(Path("a.cap")) << "damaged";
  qv::db::Close();
  const pid_t child = support::StartChild([&] {
    qv::db::Open(folder(), support::OptionsFor(folder()));
    qv::db::UnitOfWork unit;
    qv::db::OnCommit([] {
      const rlimit no_more{.rlim_cur = 0, .rlim_max = 0};
      setrlimit(RLIMIT_FSIZE, &no_more);
    });
    Begin();
    Take("a.cap", 1);
    unit.Commit();
    return 0;
  });
  EXPECT_EQ(support::EndOf(child), -SIGXFSZ);
  EXPECT_EQ(Content("a.cap"), "damaged");
  qv::db::Open(folder(), support::OptionsFor(folder()));
  EXPECT_EQ(Content("a.cap"), "1\n");
}

}  // namespace
