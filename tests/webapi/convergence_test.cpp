/// The same snapshot twice, and one after another: whatever types its values have.

#include <span>

#include "facesetting.h"
#include "support/hosttest.h"
#include "tavisetting.h"

namespace {

using ConvergenceTest = support::HostTest;

/// What a slave may say of a task, and a member that the host's record has for itself.
support::Lines TaskKeys(std::span<const DBColumn> columns) {
  support::Lines keys = {"extra"};
  for (const DBColumn& column : columns) {
    if (column.info.role == FieldRole::Config && !column.info.references) keys.emplace_back(column.info.column);
  }
  return keys;
}

TEST_F(ConvergenceTest, WritesNothingAndTheFirstLeavesWhatABlankHostWouldHold) {
  const Json::Value values = Parse(
      R"(["absent", null, true, 0, 7, -1, 0.1, 0.10000000149011612, 16777217, 4294967297, 1e300, 5e-324, "5", 0.5,
          "true", "a\u0000b", "it's\\'\n\"x\";--", [true], [1, {"a":null}], {"a":5}, {"a":"5"}])");
  const std::tuple<const char*, std::string, Lines> sections[] = {
      {"iomoduleSetting", "iomodule_setting", {"threshold"}},
      {"iva_info", "iva_task", TaskKeys(DBColumnMembers<TAVI_SETTING_DB_COLUMNS>::kColumns)},
      {"face_info", "face_task", TaskKeys(DBColumnMembers<FACE_SETTING_DB_COLUMNS>::kColumns)}};
  // For every pair of values one entry, which has the first value before and the second one after.
  Json::Value before = Parse(R"({"camera_info":[{"id":1}]})");
  Json::Value after = before;
  const auto add = [](Json::Value& section, const Lines& keys, const Json::Value& value) {
    Json::Value& entry = section.append(Json::objectValue);
    entry["id"] = section.size();
    entry["camera_id"] = 1;
    if (value == "absent") return;
    for (const std::string& key : keys) entry[key] = value;
    entry["unknown"].append(value);
  };
  for (const Json::Value& first : values) {
    for (const Json::Value& second : values) {
      for (const auto& [section, table, keys] : sections) {
        add(before[section], keys, first);
        add(after[section], keys, second);
      }
    }
  }
  for (const Json::Value& document : {before, after}) {
    SaveSlaveInfoUpdate(SlaveZR(), document, 7);
    EXPECT_THAT(Journal([&] { SaveSlaveInfoUpdate(SlaveZR(), document, 7); }, 0),
                testing::Each(testing::StartsWith("message")));
  }
  SaveSlaveInfoUpdate(SlaveZR(), after, 8);
  for (const auto& [section, table, keys] : sections) {
    const std::string columns = Rows("SELECT group_concat(name) FROM pragma_table_info('" + table +
                                     "') WHERE name NOT IN ('id','owner_zr_id','camera_id')")[0];
    const auto rows = [&](const char* zr) {
      return Rows("SELECT " + columns + " FROM " + table + " WHERE owner_zr_id=" + zr + " ORDER BY id_on_rec_server");
    };
    EXPECT_EQ(rows("7").size(), values.size() * values.size());
    EXPECT_EQ(rows("7"), rows("8"));
  }
}

}  // namespace
