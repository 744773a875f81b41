#include "text/escape.h"

#include <gtest/gtest.h>

#include "qvjson.h"

namespace qv::text {
namespace {

TEST(Escape, LeavesNothingThatSteersATerminal) {
  const struct {
    const char* label;
    std::string text, line, json;
  } cases[] = {
      {"C0", "a\nb\r\tc\x1B[31m", R"(a\nb\r\tc\x1B[31m)", R"("a\nb\r\tc\u001B[31m")"},
      {"DEL and C1", "\x7F\u0080\u009F", R"(\x7F\xC2\x80\xC2\x9F)", R"("\u007F\u0080\u009F")"},
      {"separators of lines and paragraphs", "\u2028\u2029", R"(\xE2\x80\xA8\xE2\x80\xA9)", R"("\u2028\u2029")"},
      {"direction of text", "\u061C\u202A\u202E", R"(\xD8\x9C\xE2\x80\xAA\xE2\x80\xAE)", R"("\u061C\u202A\u202E")"},
      {"their neighbours", "\u061B\u061D\u2027\u202F\u2065\u206A\u00A0~", "\u061B\u061D\u2027\u202F\u2065\u206A\u00A0~",
       "\"\u061B\u061D\u2027\u202F\u2065\u206A\u00A0~\""},
      {"stray bytes", "\xC3(\x80\xFF", R"(\xC3(\x80\xFF)", R"("\uFFFD(\uFFFD\uFFFD")"},
  };
  for (const auto& [label, text, line, json] : cases) {
    EXPECT_EQ(EscapeLine(text), line) << label;
    EXPECT_EQ(EscapeJson(JsonWrite(Json::Value(text), true)), json) << label;
  }
}

}  // namespace
}  // namespace qv::text
