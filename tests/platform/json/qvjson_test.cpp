#include "qvjson.h"

#include <gtest/gtest.h>

#include <string>

#include "json/document.h"
#include "json/write.h"

namespace {

Json::Value Parse(const std::string& text) { return qv::json::ReadDocument(text, {}); }

TEST(CheckEqual, ComparesWhatTheDatabaseKeeps) {
  const Json::Value equal = Parse(R"([
      [null, null], [{"a":null,"b":1}, {"b":1}], [{"a":null}, {"b":null}],
      [{"a":{"b":[1]}}, {"a":{"b":[1.0],"c":null}}], [1, 1.0], [0, -0.0],
      [18446744073709551615, 18446744073709551615], [9223372036854775808, 9223372036854775808.0],
      [-9223372036854775808, -9223372036854775808.0], [0.1, 0.10000000149011612], [true, 1], [true, 1.0],
      [false, 0], [false, -0.0], [{"on":true,"real":0.1}, {"on":1,"real":0.10000000149011612}]])");
  const Json::Value different = Parse(R"([
      [null, 0], [null, ""], [{"a":1}, {"b":1}], [{"a":0}, {}], [9007199254740993, 9007199254740992.0],
      [18446744073709551615, -1], [18446744073709551615, 18446744073709551616.0], [0.1, 0.10000000000000002],
      [1e300, 1e301], [true, 0], [true, 7], [true, 0.5], [false, null], [true, false], [true, "1"], [5, "5"],
      [[true], [1]], [{"a":{"b":true}}, {"a":{"b":1}}], [{"a":[0.1]}, {"a":[0.10000000149011612]}],
      ["a\u0000b", "a\u0000c"], ["a", "A"], [[1,2], [2,1]], [[1], [1,null]], [[], {}], [[1], 1]])");
  for (const Json::Value* const pairs : {&equal, &different}) {
    for (const Json::Value& pair : *pairs) {
      EXPECT_EQ(QVJson::CheckEqual(pair[0], pair[1]), pairs == &equal) << JsonWrite(pair, true);
      EXPECT_EQ(QVJson::CheckEqual(pair[1], pair[0]), pairs == &equal) << JsonWrite(pair, true);
    }
  }
}

TEST(CompareWritten, JudgesAsTheComparisonOfTheValuesDoes) {
  using qv::json::Written;
  const struct {
    const char* value;
    const char* stored;
    Written expected;
  } cases[] = {
      {R"({"a":[1,"x"],"b":true})", R"({"a":[1,"x"],"b":true})", Written::Same},
      {R"("a\nb")", R"("a\\nb")", Written::Unclear},
      {"[1,25,3]", "[1,30,3]", Written::Differs},
      // What may mean the same is not judged by its text.
      {"5", "5.0", Written::Unclear},
      {"5", R"("5")", Written::Unclear},
      {R"({"b":1})", R"({"a":null,"b":1})", Written::Unclear},
      {"[1]", "", Written::Unclear},
  };
  for (const auto& [value, stored, expected] : cases) {
    EXPECT_EQ(qv::json::CompareWritten(Parse(value), stored), expected) << value << ' ' << stored;
  }
}

TEST(JsonWrite, ReadsBackAsTheSameValueOfTheSameType) {
  Json::Value value;
  value["numbers"] = Parse("[0,-1,18446744073709551615,-9223372036854775808,1.0,-0.0,0.1,1e300,5e-324,123456789012.5]");
  value["text"] = Parse("\"\\u0001\\b\\f\\n\\r\\t\\\"\\\\/\x7F T\xC3\xBCr \xF0\x9F\x9A\xAA\"");
  value["empty"]["array"] = Json::arrayValue;
  value["empty"]["object"] = Json::objectValue;
  value["flags"] = Parse("[true,false,null]");
  for (const bool compact : {true, false}) {
    const std::string text = JsonWrite(value, compact);
    EXPECT_EQ(Parse(text), value) << text;
    EXPECT_EQ(JsonWrite(Parse(text), compact), text);
  }
}

TEST(JsonDump, HidesSecretsAtEveryLevel) {
  EXPECT_EQ(JsonDump(Parse(R"({"id":1,"Key":"k","list":[{"rtsp_keys":{"a":1},"userPassword":null}],"keyframe":2})")),
            R"({"Key":"***","id":1,"keyframe":2,"list":[{"rtsp_keys":"***","userPassword":"***"}]})");
}

}  // namespace
