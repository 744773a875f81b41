/// What the compiler and the linker put into the built files against whoever gets to corrupt memory.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

std::string Output(const std::string& command) {
  std::string text;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return text;
  char buffer[4096];
  for (std::size_t count = 0; (count = fread(buffer, 1, sizeof buffer, pipe)) > 0;) text.append(buffer, count);
  return pclose(pipe) == 0 ? text : "";
}

TEST(HardeningTest, IsInEveryBuiltFile) {
  using testing::ContainsRegex;
  using testing::HasSubstr;
  using testing::Not;
  for (const char* file : {QVCMS_PATH, QVCMSSYNC_PATH, QVPLATFORM_PATH}) {
    const std::string name = "'" + std::string(file) + "'";
    const std::string segments = Output("readelf -lW " + name);
    EXPECT_THAT(segments, HasSubstr("GNU_RELRO")) << file;
    EXPECT_THAT(segments, ContainsRegex("GNU_STACK[^\n]* RW ")) << file << ": the stack can be executed";
    EXPECT_THAT(segments, Not(ContainsRegex("LOAD[^\n]* RWE "))) << file;
    EXPECT_THAT(Output("readelf -dW " + name), ContainsRegex("FLAGS_1[^\n]*NOW")) << file;
    EXPECT_THAT(Output("readelf -hW " + name), HasSubstr("DYN (")) << file << ": loaded to a fixed address";
    const std::string symbols = Output("readelf --dyn-syms -W " + name);
    EXPECT_THAT(symbols, HasSubstr("__stack_chk_fail")) << file;
#if defined(__OPTIMIZE__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_TRUE(std::string(file) != QVPLATFORM_PATH || symbols.find("_chk@GLIBC") != std::string::npos) << symbols;
#endif
  }
#ifdef __x86_64__
  // Nearly every function is the target of an indirect call to those who load the library.
  const std::string code =
      Output("objdump -d --no-show-raw-insn '" QVCMSSYNC_PATH "' | grep -A1 '<SaveSlave[A-Za-z]*>:'");
  EXPECT_THAT(code, HasSubstr("endbr64"));
#endif
}

}  // namespace
