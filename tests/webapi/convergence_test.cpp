/// One snapshot after another, whatever types their values have.

#include "host/randomdocuments.h"
#include "support/hosttest.h"

namespace {

using ConvergenceTest = support::HostTest;

TEST_F(ConvergenceTest, TheSameSnapshotAgainWritesNothing) {
  int taken = 0;
  for (unsigned seed = 1; seed <= 100; ++seed) {
    support::RandomDocuments documents(seed);
    const Json::Value snapshot = Parse(documents.Snapshot(documents.Below(30)));
    try {
      SaveSlaveInfoUpdate(SlaveZR(), snapshot, 7);
    } catch (const Json::Exception&) {
      continue;
    }
    ++taken;
    for (const std::string& line : Journal([&] { SaveSlaveInfoUpdate(SlaveZR(), snapshot, 7); }, 0)) {
      EXPECT_THAT(line, testing::Not(testing::ContainsRegex("^(insert|update|delete) "))) << "seed " << seed;
    }
  }
  EXPECT_GT(taken, 20);
}

}  // namespace
