/// What the compiler and the linker put into the built files against whoever gets to corrupt memory.

#include "tools/toolrunner.h"

namespace qv::test {
namespace {

using testing::ContainsRegex;

using HardeningTest = ToolTest;

TEST_F(HardeningTest, IsInEveryBuiltFile) {
  for (const std::string file : {QVCMS_PATH, QVCMSSYNC_PATH, QVPLATFORM_PATH}) {
    const std::string facts = Shell("readelf -hldW --dyn-syms '" + file + "'").out;
    // Among them a stack that cannot be executed, and no fixed address to be loaded to.
    for (const char* fact : {"GNU_RELRO", "GNU_STACK[^\n]* RW ", "FLAGS_1[^\n]*NOW", "DYN [(]", "__stack_chk_fail"}) {
      EXPECT_THAT(facts, ContainsRegex(fact)) << file;
    }
    EXPECT_THAT(facts, testing::Not(ContainsRegex("LOAD[^\n]* RWE "))) << file;
#ifdef QV_FORTIFIED
    EXPECT_TRUE(file != QVPLATFORM_PATH || facts.find("_chk@GLIBC") != std::string::npos) << facts;
#endif
  }
#if defined(__x86_64__) && !defined(QV_SANITIZED)
  // Nearly every function is the target of an indirect call to those who load the library.
  EXPECT_THAT(Shell("objdump -d --no-show-raw-insn '" QVCMSSYNC_PATH "' | grep -A1 '<SaveSlave[A-Za-z]*>:'").out,
              testing::HasSubstr("endbr64"));
#endif
}

TEST_F(HardeningTest, TheLibraryDefinesForOthersWhatTheContractNamesAlone) {
  EXPECT_EQ(Shell("nm -D --defined-only --format=posix '" QVCMSSYNC_PATH "' | cut -d' ' -f1 | LC_ALL=C sort").out,
            "GetAxisDoorZrIdMap\nRemoveSlaveData\nSaveSlaveInfoPair\nSaveSlaveInfoUpdate\nSaveSlaveStatus\n"
            "SyncRelatedTableForSlaveDel\n");
}

}  // namespace
}  // namespace qv::test
