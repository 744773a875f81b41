/// What becomes of the host's rows where documents or rows are not as usual.
#include <cmath>
#include <limits>

#include "slavedata.h"
#include "support/hosttest.h"

namespace {

struct RowsTest : support::HostTest {
  /// What a snapshot of slave 7 writes; a message is no row.
  static Lines UpdateWith(const Json::Value& document) {
    Lines lines = Journal([&] { EXPECT_EQ(SaveSlaveInfoUpdate(SlaveZR(), document, 7), 0); }, 0);
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("message"); });
    return lines;
  }
  /// Every row but the messages.
  Lines AllRows() const {
    Lines rows = support::DumpDatabase(folder());
    std::erase_if(rows, [](const std::string& row) { return row.find("message") < std::size("sqlite_sequence "); });
    return rows;
  }
  static Lines Update(const std::string& document) { return UpdateWith(Parse(document)); }
};

TEST_F(RowsTest, ATaskKeepsItsRowWhenItsCameraGoesAsItMovesToAnother) {
  Update(R"({"camera_info":[{"id":1},{"id":2}],"iva_info":[{"id":1,"camera_id":1,"type":6},{"id":2,"camera_id":1}],
             "counting_widget_info":[{"id":1,"iva_setting_id":1,"type":2,"fence":[{"x":0,"y":0},{"x":1,"y":0}]}],
             "face_info":[{"id":1,"camera_id":1}]})");
  Sql("UPDATE face_task SET task_id=33; INSERT INTO iva_task (camera_id,name) VALUES (1,'of the host itself')");
  // Without lists of tasks they stay, without a camera.
  Update(R"({"camera_info":[{"id":2}]})");
  EXPECT_THAT(Rows("SELECT id,camera_id FROM iva_task"), ElementsAre("1|null", "2|null"));
  EXPECT_THAT(Journal(
                  [&] {
                    SaveSlaveInfoUpdate(SlaveZR(),
                                        Parse(R"({"camera_info":[{"id":2}],"iva_info":[{"id":1,"camera_id":2,"type":6}],
                                                 "face_info":[{"id":1,"camera_id":2}]})"),
                                        7);
                  },
                  5),
              testing::IsSupersetOf({"log 5 UpdateIvaInfo:161 Iva Task[1] info changed.",
                                     "log 5 UpdateIvaInfo:176 Delete Extra Iva Task in db from ZR[7]."}));
  EXPECT_THAT(Rows("SELECT id,camera_id FROM iva_task"), ElementsAre("1|2"));
  EXPECT_THAT(Rows("SELECT task_id,camera_id FROM face_task"), ElementsAre("33|2"));
  EXPECT_THAT(Rows("SELECT id FROM counting_widget"), ElementsAre("1"));
  // Nothing is left of a task without a camera when its slave is removed.
  Update(R"({"camera_info":[]})");
  RemoveSlaveData(7);
  EXPECT_THAT(Rows("SELECT id FROM iva_task UNION ALL SELECT id FROM face_task"), IsEmpty());
}

TEST_F(RowsTest, EntriesOfOneIdSettle) {
  const char* const first = R"({"camera_info":[{"id":1}],"ctrler_info":[{"id":5,"name":"A"}],
      "iva_info":[{"id":1,"camera_id":1}]})";
  const char* const doubled = R"({"camera_info":[{"id":1}],"iva_info":[{"id":1,"camera_id":1}],
      "ctrler_info":[{"id":5,"name":"A","door":[{"id":1}]},{"id":5,"name":"B"}],
      "counting_widget_info":[
        {"id":3,"iva_setting_id":1,"name":"A","type":2,"fence":[{"x":0,"y":0},{"x":1,"y":0}]},
        {"id":3,"iva_setting_id":1,"name":"B","type":1,"region":[{"x":0,"y":0},{"x":1,"y":0},{"x":1,"y":1}]}],
      "counting_task_group_info":[{"id":4,"name":"A","widget_ids":[3]},{"id":4,"name":"B"}]})";
  Update(first);
  Update(doubled);
  for (const std::string table : {"axis_acs_ctrler", "counting_widget", "counting_task_group"}) {
    EXPECT_THAT(Rows("SELECT id,name FROM " + table), ElementsAre("1|A", "2|B")) << table;
  }
  EXPECT_THAT(Update(doubled), IsEmpty());
  // A pairing brings the rows up to date that an update has listed before.
  SaveSlaveInfoPair(SlaveZR(), Parse(R"({"ctrler_info":[{"id":5,"name":"C"}]})"), 7);
  EXPECT_THAT(Rows("SELECT id,name FROM axis_acs_ctrler"), ElementsAre("1|C", "2|B"));
}

TEST_F(RowsTest, AGroupNamesTheRowOfTheTaskThatAWidgetIsIn) {
  const auto report = [](const std::string& task) {
    return Update(R"({"camera_info":[{"id":1}],"iva_info":[{"id":1,"camera_id":1},{"id":2,"camera_id":1}],
        "counting_widget_info":[{"id":3,"type":2,"fence":[{"x":0,"y":0},{"x":1,"y":0}],"iva_setting_id":)" +
                  task + R"(}],"counting_task_group_info":[{"id":4,"widget_ids":[3]}]})");
  };
  const std::string tasks =
      "SELECT iva_setting_id FROM counting_task_group_widget g,counting_widget w "
      "WHERE w.id=g.widget_id";
  for (const std::string task : {"1", "2", "1", "2"}) {
    report(task);
    EXPECT_THAT(Rows(tasks), ElementsAre(task));
    EXPECT_THAT(report(task), IsEmpty());
  }
  EXPECT_THAT(Rows("SELECT id FROM counting_widget"), ElementsAre("1", "2"));
}

TEST_F(RowsTest, WhatCannotBeReadBackIsRefusedAndNeverKeptInPart) {
  Json::Value nested(1);
  for (int level = 0; level < 1000; ++level) {
    Json::Value around(Json::arrayValue);
    around.append(nested);
    nested = std::move(around);
  }
  const std::pair<Json::Value, const char*> values[] = {
      {Json::Value("\xC3("), "a text is not UTF-8"},
      {Json::Value(HUGE_VAL), "a number is infinite or not a number"},
      {Json::Value(std::numeric_limits<double>::quiet_NaN()), "a number is infinite or not a number"},
      {nested, "it is nested deeper than 1000 levels"}};
  for (const auto& [value, reason] : values) {
    const std::string kept = R"({"camera_info":[{"id":1,"name":"C","other":1}],
        "camDetSetting":[{"id":1,"other":1}],"iva_info":[{"id":1,"camera_id":1,"other":1}],
        "counting_widget_info":[{"id":1,"iva_setting_id":1,"type":2,"fence":[{"x":0,"y":0},{"x":1,"y":0}]}],
        "counting_task_group_info":[{"id":1}]})";
    Update(kept);
    Json::Value document = Parse(kept);
    const Lines rows = AllRows();
    for (Json::Value& section : document) section[0]["other"] = value;
    EXPECT_THAT(testing::PrintToString(UpdateWith(document)), testing::Not(testing::HasSubstr("date "))) << reason;
    EXPECT_TRUE(rows == AllRows()) << support::FirstDifference(rows, AllRows()) << reason;
    EXPECT_THAT(Update(kept), IsEmpty()) << reason;
  }
}

TEST_F(RowsTest, AnUnknownMemberOfADeviceStaysUntilItIsNull) {
  const auto extra = [] { return Rows("SELECT extra FROM camera UNION ALL SELECT extra FROM ipspeaker"); };
  Update(R"({"camera_info":[{"id":1,"a":1,"b":2}],"speaker_info":[{"id":1,"a":1}]})");
  EXPECT_THAT(Update(R"({"camera_info":[{"id":1}],"speaker_info":[{"id":1}]})"), IsEmpty());
  const char* const cleared = R"({"camera_info":[{"id":1,"a":null}],"speaker_info":[{"id":1,"a":null}]})";
  EXPECT_THAT(Update(cleared), ElementsAre("update camera 1", "update ipspeaker 1"));
  EXPECT_THAT(extra(), ElementsAre(R"({"b":2})", ""));
  EXPECT_THAT(Update(cleared), IsEmpty());
}

TEST_F(RowsTest, NoExportTouchesRowsOfOthersWhateverTheId) {
  Update(support::kEverySection);
  for (const std::string table : {"camera", "iomodule", "pos", "ipspeaker", "axis_acs_ctrler", "iva_task", "face_task",
                                  "counting_task_group", "rec_share"}) {
    Sql("INSERT INTO " + table + " (id_on_rec_server,owner_zr_id) VALUES (1,0)");
  }
  const Lines rows = AllRows();
  for (const int id : {-1, 0}) {
    for (const char* document : {"{}", support::kEverySection}) {
      SaveSlaveInfoUpdate(SlaveZR(), Parse(document), id);
      SaveSlaveInfoPair(SlaveZR(), Parse(document), id);
    }
    SlaveZRStatus status;
    status.ZrId = id;
    SaveSlaveStatus(Parse(R"({"status":1,"camera_info":[{"id":1,"status":9}],"iomodule_info":[{"id":1,"status":9}],
        "POS_info":[{"id":1,"status":9}],"speaker_info":[{"id":1,"status":9}],"ctrler_info":[{"id":1,"status":9}],
        "iva_info":[{"id":1,"camera_id":1,"name":"X"}],"camCapList":[{"camVendor":"V","camModel":"M"}]})"),
                    status);
    RemoveSlaveData(id);
    SyncRelatedTableForSlaveDel(id);
  }
  EXPECT_TRUE(rows == AllRows()) << support::FirstDifference(rows, AllRows());
}

TEST_F(RowsTest, ADoorOfTheHostForgetsACameraThatIsGone) {
  const auto tie = [] {
    Update(R"({"camera_info":[{"id":1}]})");
    Sql("UPDATE axis_door SET cam_zr_id=7,cam_id=(SELECT id FROM camera)");
  };
  Sql("INSERT INTO axis_acs_ctrler (id) VALUES (1); INSERT INTO axis_door (ctrler_id) VALUES (1)");
  tie();
  Update(R"({"camera_info":[]})");
  EXPECT_THAT(Rows("SELECT cam_id,cam_zr_id FROM axis_door"), ElementsAre("null|0"));
  tie();
  RemoveSlaveData(7);
  EXPECT_THAT(Rows("SELECT cam_id,cam_zr_id FROM axis_door"), ElementsAre("null|0"));
}

}  // namespace
