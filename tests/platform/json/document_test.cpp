#include "json/document.h"

#include <gmock/gmock.h>
#include <json/reader.h>

#include <limits>
#include <sstream>

#include "json/equal.h"
#include "json/storable.h"
#include "json/written.h"
#include "qvjson.h"

namespace {

using qv::json::DocumentError;
using qv::json::ReadDocument;
using qv::json::Written;

Json::Value Parse(const std::string& text) { return ReadDocument(text, {}); }

/// What reading `text` says: the value as text, or the error with its place.
std::string Read(const std::string& text, const qv::json::ReadLimits& limits = {}) {
  try {
    return JsonWrite(ReadDocument(text, limits), true);
  } catch (const DocumentError& error) {
    return std::to_string(error.line()) + ':' + std::to_string(error.column()) + ' ' + error.reason();
  }
}

TEST(Document, IsReadOrRefusedWithItsPlace) {
  const std::pair<std::string, const char*> cases[] = {
      {" {\"b\":[1,-2,1.0,true,null,\"x\"],\"a\":{}}\r\n", R"({"a":{},"b":[1,-2,1.0,true,null,"x"]})"},
      {"\"\\u0041\\ud83d\\udeaa\\/\\n\"", "\"A\U0001F6AA/\\n\""},
      {"{\"a\\u0000b\":\"\\u0000\"}", R"({"a\u0000b":"\u0000"})"},
      {"[9223372036854775807,-9223372036854775808,18446744073709551615]",
       "[9223372036854775807,-9223372036854775808,18446744073709551615]"},
      {"[18446744073709551616,-9223372036854775809,0.1,1e-400]",
       "[18446744073709551616.0,-9223372036854775808.0,0.1,0.0]"},
      // Numbers
      {"{\"a\":1,\n \"b\": 1e400}", "2:7 the number 1e400 is too large"},
      {"{\"1234567890123456789012\":\"\\\"1234567890123456789012\",\"a\":-1234567890123456789012}",
       R"({"1234567890123456789012":"\"1234567890123456789012","a":-1234567890123456774144.0})"},
      // Structure
      {"{\"a\":1", "1:7 the document ends early: ',' or '}' is expected"},
      {"[1,]", "1:4 a value is expected"},
      {"[]\n\r\n\r ]", "4:2 there is text after the document"},
      {"{\"a\" 1}", "1:6 ':' is expected"},
      {"", "1:1 the document ends early: a value is expected"},
      {"[0.]", "1:4 a number lacks a digit"},
      // Members
      {"{\"a\":{\"b\":[]}, \"\\u0061\":1}", "1:16 the member 'a' is given twice"},
      // Strings
      {"[\"a\tb\"]", "1:4 a control character in a string is not escaped"},
      {"[\"ab]", "1:6 the document ends early: a string is not closed"},
      {"[\"\\x\"]", "1:3 an unknown escape in a string"},
      {"[\"\\u12g4\"]", "1:3 an escape in a string without its four digits"},
      {"[\"\\ud800\"]", "1:3 half of a surrogate pair in a string"},
      // Bytes
      {"\xEF\xBB\xBF{}", "1:1 begins with a byte order mark"},
      {"[\"\xC3\xBC\",\n\"\xE9\x96\x80\xFF\"]", "2:3 not UTF-8"},
  };
  for (const auto& [text, result] : cases) EXPECT_EQ(Read(text), result) << text;
}

TEST(Document, IsLimitedInDepth) {
  const std::string opening(qv::json::kMaxDepth, '[');
  const std::string closing(qv::json::kMaxDepth, ']');
  const qv::json::ReadLimits no_limit = {.depth = 1'000'000};
  EXPECT_EQ(Read(opening + closing, no_limit), opening + closing);
  EXPECT_EQ(Read(opening + '[', no_limit), "1:1001 nested deeper than 1000 levels");
  const std::string number(30, '7');  // which is read in another way
  EXPECT_THAT(Read(opening + number + closing, no_limit), testing::HasSubstr("[7.777777777777778e+29]"));
}

/// The reader uses what it knows of the row before.
TEST(Document, EveryRowOfAListIsReadAsItIsWhateverTheRowsBeforeIt) {
  const std::string rows[] = {
      R"({"id":1,"name":"first","zone":null,"is_on":true})",
      R"({"id":2,"name":"same names","zone":[{"x":[1]},{}],"is_on":0.5})",
      R"({"id":3,"code":"other names of equal length","zone":"","is_on":false})",
      R"({"name":"other order","id":4,"zone":{"a":1,"b":2,"c":3,"d":4},"is_on":1})",
      R"({"id":5,"name":"one more","zone":1,"is_on":1,"more":-1})",
      R"({"id":6,"name":"one less","zone":1})",
      R"({"id\u0000":7,"id\u0000x":8,"name":"NUL in names","zone":18446744073709551615})",
      "{}",
      "[[]]",
  };
  for (const std::string& a : rows) {
    for (const std::string& b : rows) {
      const std::string text = '[' + a + ',' + b + ',' + b + ',' + a + ',' + a + ',' + b + ']';
      Json::Value expected;
      std::istringstream(text) >> expected;
      EXPECT_EQ(ReadDocument(text, {}), expected) << text;
    }
  }
  EXPECT_EQ(Read(R"([{"a":1,"b":2,"c":3,"d":4},{"a":1,"b":2,"c":3,"d":4},{"a":1,"b":2,"c":3,"a":4}])"),
            "1:73 the member 'a' is given twice");
}

TEST(CheckEqual, ComparesWhatTheDatabaseKeeps) {
  const Json::Value equal = Parse(R"([
      [{"a":{"b":[1]}}, {"a":{"b":[1.0],"c":null}}], [-9223372036854775808, -9223372036854775808.0],
      [0.1, 0.10000000149011612], [true, 1.0], [{"on":true,"real":0.1}, {"on":1,"real":0.10000000149011612}]])");
  const Json::Value different = Parse(R"([
      [{"a":1}, {"b":1}], [9007199254740993, 9007199254740992.0], [18446744073709551615, -1],
      [18446744073709551615, 18446744073709551616.0], [0.1, 0.10000000000000002], [1e300, 1e301], [true, 7],
      [true, 0.5], [[true], [1]], [{"a":[0.1]}, {"a":[0.10000000149011612]}], [[1], [1,null]]])");
  for (const Json::Value* const pairs : {&equal, &different}) {
    for (const Json::Value& pair : *pairs) {
      EXPECT_EQ(QVJson::CheckEqual(pair[0], pair[1]), pairs == &equal) << JsonWrite(pair, true);
      EXPECT_EQ(QVJson::CheckEqual(pair[1], pair[0]), pairs == &equal) << JsonWrite(pair, true);
      EXPECT_NE(qv::json::CompareWritten(pair[0], JsonWrite(pair[1], true)),
                pairs == &equal ? Written::Differs : Written::Same)
          << JsonWrite(pair, true);
    }
  }
}

TEST(JsonWrite, ReadsBackAsTheSameValueOfTheSameType) {
  const Json::Value value = Parse(R"({"empty":[[],{}],"flags":[true,false,null],
      "numbers":[0,-1,18446744073709551615,-9223372036854775808,1.0,-0.0,0.1,1e300,5e-324,123456789012.5],
      "text":"\u0001\b\f\n\r\t\"\\/\u007F Tür 🚪"})");
  for (const bool compact : {true, false}) EXPECT_EQ(Parse(JsonWrite(value, compact)), value);
}

TEST(WhyNotStorable, TellsWhatWouldNotReadBackEqual) {
  const auto nested = [](Json::Value value, std::size_t levels) {
    for (; levels > 0; levels -= 2) {
      Json::Value outer;
      outer["a"].append(value);
      value = outer;
    }
    return value;
  };
  Json::Value bad_name;
  bad_name["\xED\xA0\x80"] = 1;
  const std::pair<Json::Value, const char*> cases[] = {
      {nested("\xFF", 2), "a text is not UTF-8"},
      {nested(bad_name, 2), "the name of a member is not UTF-8"},
      {nested(std::numeric_limits<double>::infinity(), 2), "a number is infinite or not a number"},
      {nested({}, qv::json::kMaxDepth + 2), "it is nested deeper than 1000 levels"},
      {nested({}, qv::json::kMaxDepth), nullptr},
      {nested(std::string("a\0b", 3), 2), nullptr},
  };
  for (const auto& [value, reason] : cases) {
    EXPECT_STREQ(qv::json::WhyNotStorable(value), reason);
    EXPECT_STREQ(qv::json::WhyNotStorable(value, JsonWrite(value, true)), reason);
  }
  EXPECT_STREQ(qv::json::WhyNotStorableText("eight letters, T\xC3\xBCr"), nullptr);
  EXPECT_STREQ(qv::json::WhyNotStorableText("eight letters \xC3"), "it is not UTF-8");
  EXPECT_STREQ(qv::json::WhyNotStorableText({"a\0b", 3}), "it contains a NUL");
}

}  // namespace
