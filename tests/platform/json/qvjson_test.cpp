#include "qvjson.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "json/document.h"
#include "json/write.h"

namespace {

Json::Value Parse(const std::string& text) { return qv::json::ReadDocument(text, {}); }

TEST(CheckEqual, ComparesWhatTheDatabaseKeeps) {
  const struct {
    const char* left;
    const char* right;
    bool equal;
  } cases[] = {
      {"null", "null", true},
      {"null", "0", false},
      {"null", "\"\"", false},
      {"null", "{}", false},
      {"{\"a\":null,\"b\":1}", "{\"b\":1}", true},
      {"{\"a\":null}", "{\"b\":null}", true},
      {"{\"a\":1}", "{\"b\":1}", false},
      {"{\"a\":0}", "{}", false},
      {"{\"a\":{\"b\":[true]}}", "{\"a\":{\"b\":[1],\"c\":null}}", true},
      {"1", "1.0", true},
      {"0", "-0.0", true},
      {"1", "1.5", false},
      {"9007199254740993", "9007199254740992.0", false},
      {"9007199254740993", "9007199254740992", false},
      {"18446744073709551615", "-1", false},
      {"18446744073709551615", "18446744073709551615", true},
      {"18446744073709551615", "18446744073709551616.0", false},
      {"9223372036854775808", "9223372036854775808.0", true},
      {"-9223372036854775808", "-9223372036854775808.0", true},
      {"1", "1e300", false},
      {"0.1", "0.10000000149011612", true},  // the widened float
      {"0.1", "0.100001", false},
      {"0.1", "0.10000000000000002", false},
      {"1e300", "1e300", true},
      {"1e300", "1e301", false},
      {"true", "1", true},
      {"true", "7", true},
      {"true", "0.5", true},
      {"true", "0", false},
      {"false", "0", true},
      {"false", "0.0", true},
      {"false", "null", false},
      {"true", "true", true},
      {"true", "false", false},
      {"true", "\"1\"", false},
      {"5", "\"5\"", true},
      {"-5", "\"-5\"", true},
      {"0", "\"0\"", true},
      {"0.1", "\"0.10000000000000001\"", true},
      {"0.5", "\"0.5\"", true},
      {"18446744073709551615", "\"18446744073709551615\"", true},
      {"9007199254740993", "\"9007199254740992\"", false},
      {"5", "\"6\"", false},
      {"5", "\"05\"", false},
      {"5", "\" 5\"", false},
      {"5", "\"5 \"", false},
      {"5", "\"5x\"", false},
      {"0", "\"\"", false},
      {"0", "\"-\"", false},
      {"\"a\\u0000b\"", "\"a\\u0000c\"", false},
      {"\"a\"", "\"A\"", false},
      {"[1,2]", "[1.0,\"2\"]", true},
      {"[1,2]", "[2,1]", false},
      {"[1]", "[1,null]", false},
      {"[]", "{}", false},
      {"[1]", "1", false},
  };
  for (const auto& [left, right, equal] : cases) {
    EXPECT_EQ(QVJson::CheckEqual(Parse(left), Parse(right)), equal) << left << ' ' << right;
    EXPECT_EQ(QVJson::CheckEqual(Parse(right), Parse(left)), equal) << right << ' ' << left;
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
      {R"("a\nb")", R"("a\nb")", Written::Same},
      {R"("a\nb")", R"("a\\nb")", Written::Unclear},
      {"[1,25,3]", "[1,30,3]", Written::Differs},
      {R"({"a":-1})", R"({"a":7})", Written::Differs},
      // What may mean the same is not judged by its text.
      {"5", "5.0", Written::Unclear},
      {"5", "6.0", Written::Unclear},
      {"5", R"("5")", Written::Unclear},
      {"7", "true", Written::Unclear},
      {"[7]", "[4e1]", Written::Unclear},
      {R"({"b":1})", R"({"a":null,"b":1})", Written::Unclear},
      {R"({"a":1})", R"({"a":1,"b":null})", Written::Unclear},
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

TEST(JsonWrite, Layout) {
  Json::Value value = Parse(R"({"b":[1,[],{}],"Z":{"a":1.0}})");
  value["b"][4] = std::numeric_limits<double>::infinity();  // leaves a gap before it
  value["c"] = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(JsonWrite(value, true), R"({"Z":{"a":1.0},"b":[1,[],{},null,null],"c":null})");
  EXPECT_EQ(JsonWrite(value, false),
            "{\n  \"Z\": {\n    \"a\": 1.0\n  },\n  \"b\": [\n    1,\n    [],\n    {},\n    null,\n    null\n  ],\n"
            "  \"c\": null\n}");
}

TEST(JsonDump, HidesSecretsAtEveryLevel) {
  EXPECT_EQ(JsonDump(Parse(R"({"id":1,"Key":"k","list":[{"rtsp_keys":{"a":1},"userPassword":null}],"keyframe":2})")),
            R"({"Key":"***","id":1,"keyframe":2,"list":[{"rtsp_keys":"***","userPassword":"***"}]})");
  for (const char* name : {"pass", "db_PWD", "client_secret", "AccessToken", "credentials", "KEY", "cookie"}) {
    EXPECT_TRUE(IsSecretKey(name)) << name;
  }
  for (const char* name : {"", "name", "keys", "cookies", "key_id"}) {
    EXPECT_FALSE(IsSecretKey(name)) << name;
  }
}

}  // namespace
