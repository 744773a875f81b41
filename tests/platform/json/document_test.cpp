#include "json/document.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/reader.h>

#include <limits>
#include <string>

#include "qvjson.h"

namespace {

using qv::json::DocumentError;
using qv::json::ReadDocument;

/// What reading `text` says: the value as text, or the error with its place.
std::string Read(const std::string& text, const qv::json::ReadLimits& limits = {}) {
  try {
    return JsonWrite(ReadDocument(text, limits), true);
  } catch (const DocumentError& error) {
    return std::to_string(error.line()) + ':' + std::to_string(error.column()) + ' ' + error.reason();
  }
}

TEST(Document, IsReadOrRefusedWithItsPlace) {
  const struct {
    std::string text;
    const char* result;
  } cases[] = {
      {" {\"b\":[1,-2,1.0,true,null,\"x\"],\"a\":{}}\r\n", R"({"a":{},"b":[1,-2,1.0,true,null,"x"]})"},
      {"\"\\u0041\\ud83d\\udeaa\\/\\n\"", "\"A\U0001F6AA/\\n\""},
      {"{\"a\\u0000b\":\"\\u0000\"}", R"({"a\u0000b":"\u0000"})"},
      {"[9223372036854775807,-9223372036854775808,18446744073709551615]",
       "[9223372036854775807,-9223372036854775808,18446744073709551615]"},
      {"[18446744073709551616,-9223372036854775809,0.1,1e-400]",
       "[18446744073709551616.0,-9223372036854775808.0,0.1,0.0]"},
      // Numbers
      {"{\"a\":1,\n \"b\": 1e400}", "2:7 the number 1e400 is too large"},
      {"[18446744073709551616,01]", "1:23 a number begins with 0"},
      {"{\"1234567890123456789012\":\"\\\"1234567890123456789012\",\"a\":-1234567890123456789012}",
       R"({"1234567890123456789012":"\"1234567890123456789012","a":-1.2345678901234568e+21})"},
      {"1e+", "1:1 the document ends early: a number lacks a digit"},
      // Structure
      {"{\"a\":1", "1:7 the document ends early: ',' or '}' is expected"},
      {"[1,]", "1:4 a value is expected"},
      {"[]\n\r\n\r ]", "4:2 there is text after the document"},
      {"{\"a\" 1}", "1:6 ':' is expected"},
      {"{\"\xC3\xBC\":tru}", "1:6 a value is expected"},
      {std::string("[]\0", 3), "1:3 there is text after the document"},
      // Members
      {"{\"a\":1,\n\"b\":{\"c\":1,\"c\":2}}", "2:12 the member 'c' is given twice"},
      {"{\"a\":1,\"\\u0061\":1}", "1:8 the member 'a' is given twice"},
      // Strings
      {"[\"a\tb\"]", "1:4 a control character in a string is not escaped"},
      {"[\"ab]", "1:2 the document ends early: a string is not closed"},
      {"[\"\\x\"]", "1:3 an unknown escape in a string"},
      {"[\"\\ud800\"]", "1:3 half of a surrogate pair in a string"},
      // Bytes
      {"\xEF\xBB\xBF{}", "1:1 begins with a byte order mark"},
      {"[\"\xC3\xBC\",\n\"\xE9\x96\x80\xFF\"]", "2:3 not UTF-8"},
      {"[\"\xED\xA0\x80\"]", "1:3 not UTF-8"},
  };
  for (const auto& [text, result] : cases) {
    EXPECT_EQ(Read(text), result) << text;
  }
}

TEST(Document, IsLimitedInDepthAndSize) {
  EXPECT_EQ(Read("[[1],{}]", {.depth = 2}), "[[1],{}]");
  EXPECT_EQ(Read("[[1],[[]]]", {.depth = 2}), "1:7 nested deeper than 2 levels");
  EXPECT_EQ(Read("[[18446744073709551616]]", {.depth = 2}), "[[18446744073709551616.0]]");

  const std::string deepest = std::string(qv::json::kMaxDepth, '[') + std::string(qv::json::kMaxDepth, ']');
  const std::size_t no_limit = std::numeric_limits<std::size_t>::max();
  EXPECT_EQ(Read(deepest, {.depth = no_limit}), deepest);
  EXPECT_TRUE(
      QVJson::CheckEqual(ReadDocument(deepest, {.depth = no_limit}), ReadDocument(deepest, {.depth = no_limit})));
  EXPECT_EQ(Read(std::string(100000, '['), {.depth = no_limit}), "1:1001 nested deeper than 1000 levels");
  const std::string integer = std::string(qv::json::kMaxDepth, '[') + std::string(30, '7');
  EXPECT_THAT(Read(integer + std::string(qv::json::kMaxDepth, ']'), {.depth = no_limit}),
              testing::HasSubstr("[7.777777777777778e+29]"));

  EXPECT_EQ(Read("[1]", {.size = 3}), "[1]");
  EXPECT_EQ(Read("[1] ", {.size = 3}), "0:0 larger than 3 bytes");
}

/// Rows of a list take a path of their own from the second of a shape on.
TEST(Document, RowsReadAsTheyAreWhateverTheShapeOfTheirNeighbours) {
  std::string rows;
  for (int i = 0; i < 4; ++i) {
    const std::string id = std::to_string(i);
    rows += R"({"name":"row )" + id + R"(","id":)" + id + R"(,"zone":null,"address":{"port":)" + id +
            R"(,"host":"h","b":1,"a":2},"is_on":true},)";
    rows += R"({"id":)" + id + R"(,"name":"other order","zone":[1,2],"is_on":0.5},)";
    rows += R"({"id":)" + id + R"(,"name":"one more","zone":{},"is_on":0.5,"a":)" + id + "},";
  }
  const std::string text = '[' + rows + "{}]";
  Json::CharReaderBuilder builder;
  Json::Value expected;
  std::string errors;
  ASSERT_TRUE(std::unique_ptr<Json::CharReader>(builder.newCharReader())
                  ->parse(text.data(), text.data() + text.size(), &expected, &errors));
  EXPECT_EQ(Read(text), JsonWrite(expected, true));

  const std::string row = R"({"a":1,"b":2,"c":3,"d":4},)";
  EXPECT_EQ(Read('[' + row + row + R"({"a":1,"b":2,"c":3,"a":4}])"), "1:73 the member 'a' is given twice");
}

}  // namespace
