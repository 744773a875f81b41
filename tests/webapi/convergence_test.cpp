/// One snapshot after another, whatever types their values have.

#include <regex>

#include "support/hosttest.h"

namespace {

using ConvergenceTest = support::HostTest;

/// For every pair of values one task, whose members have the first value before and the second one after.
TEST_F(ConvergenceTest, TheSameSnapshotAgainWritesNothing) {
  const Json::Value values = Parse(
      R"(["absent", null, true, 0, 7, -1, 0.1, 0.10000000149011612, 16777217, 4294967297, 1e300, 5e-324, "5", 0.5,
          "true", "a\u0000b", "it's\\'\n\"x\";--", [true], [1, {"a":null}], {"a":5}, {"a":"5"}])");
  Json::Value documents[] = {Parse(R"({"camera_info":[{"id":1}]})"), Parse(R"({"camera_info":[{"id":1}]})")};
  const auto add = [](Json::Value& section, const Json::Value& value) {
    Json::Value& entry = section.append(Json::objectValue);
    entry["id"] = section.size();
    entry["camera_id"] = 1;
    if (value == "absent") return;
    for (const char* key : {"extra", "name", "enable", "type", "sensitivity", "schedule", "confidence", "threshold"}) {
      entry[key] = value;
    }
    entry["unknown"].append(value);
  };
  for (const Json::Value& first : values) {
    for (const Json::Value& second : values) {
      for (const char* section : {"iva_info", "face_info", "iomoduleSetting"}) {
        add(documents[0][section], first);
        add(documents[1][section], second);
      }
    }
  }
  for (const Json::Value& document : documents) {
    SaveSlaveInfoUpdate(SlaveZR(), document, 7);
    EXPECT_THAT(Journal([&] { SaveSlaveInfoUpdate(SlaveZR(), document, 7); }, 0),
                testing::Each(testing::StartsWith("message")));
  }
  EXPECT_EQ(Rows("SELECT id FROM iva_task").size(), values.size() * values.size());
}

}  // namespace
