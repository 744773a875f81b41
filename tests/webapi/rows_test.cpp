/// What becomes of the host's rows where documents or rows are not as usual.

#include <cmath>

#include "slavedata.h"
#include "support/hosttest.h"

namespace {

struct RowsTest : support::HostTest {
  /// What a snapshot of slave 7 writes; a message is no row.
  static Lines Update(const std::string& document) { return UpdateWith(Parse(document)); }
  static Lines UpdateWith(const Json::Value& document) {
    return support::Without(Journal([&] { SaveSlaveInfoUpdate(SlaveZR(), document, 7); }, 0), "message");
  }
  /// Every row but the messages.
  Lines AllRows() const {
    const Lines rows = support::DumpDatabase(folder());
    return support::Without(support::Without(rows, "message"), "sqlite_sequence|name=message");
  }
};

constexpr const char* kShape = R"("type":2,"fence":[{"x":0,"y":0},{"x":1,"y":0}])";

TEST_F(RowsTest, ATaskKeepsItsRowWhenItsCameraGoesAsItMovesToAnother) {
  Update(R"({"camera_info":[{"id":1},{"id":2}],"iva_info":[{"id":1,"camera_id":1,"type":6}],
             "counting_widget_info":[{"id":1,"iva_setting_id":1,)" +
         std::string(kShape) + R"(}],"face_info":[{"id":1,"camera_id":1,"task_id":5}]})");
  EXPECT_THAT(Rows("SELECT task_id FROM face_task"), ElementsAre("0")) << "it numbers a task of the slave's";
  Sql("UPDATE face_task SET task_id=33");
  const auto tasks = [] {
    return Rows("SELECT id,camera_id FROM iva_task UNION ALL SELECT task_id,camera_id FROM face_task");
  };
  Update(R"({"camera_info":[{"id":2}]})");
  EXPECT_THAT(tasks(), ElementsAre("1|null", "33|null")) << "without lists of tasks they stay";
  Update(R"({"camera_info":[{"id":2}],"iva_info":[{"id":1,"camera_id":2,"type":6}],
             "face_info":[{"id":1,"camera_id":2}]})");
  EXPECT_THAT(tasks(), ElementsAre("1|2", "33|2"));
  EXPECT_THAT(Rows("SELECT id FROM counting_widget"), ElementsAre("1"));
  Update("{}");
  RemoveSlaveData(7);
  EXPECT_THAT(tasks(), IsEmpty()) << "tasks without a camera go with their slave";
}

TEST_F(RowsTest, EntriesOfOneIdSettle) {
  Update(R"({"camera_info":[{"id":1}],"ctrler_info":[{"id":5,"name":"A"}],"iva_info":[{"id":1,"camera_id":1}]})");
  const std::string doubled = R"({"camera_info":[{"id":1}],"iva_info":[{"id":1,"camera_id":1}],
      "ctrler_info":[{"id":5,"name":"A","door":[{"id":1}]},{"id":5,"name":"B"}],
      "counting_widget_info":[{"id":3,"iva_setting_id":1,"name":"A",)" +
                              std::string(kShape) + R"(},
        {"id":3,"iva_setting_id":1,"name":"B","type":1,"region":[{"x":0,"y":0},{"x":1,"y":0},{"x":1,"y":1}]}],
      "counting_task_group_info":[{"id":4,"name":"A","widget_ids":[3]},{"id":4,"name":"B"}]})";
  Update(doubled);
  for (const std::string table : {"axis_acs_ctrler", "counting_widget", "counting_task_group"}) {
    EXPECT_THAT(Rows("SELECT id,name FROM " + table), ElementsAre("1|A", "2|B")) << table;
  }
  EXPECT_THAT(Update(doubled), IsEmpty());
}

TEST_F(RowsTest, AGroupNamesTheRowOfTheTaskThatAWidgetIsIn) {
  const auto report = [](const std::string& task) {
    return Update(R"({"camera_info":[{"id":1}],"iva_info":[{"id":1,"camera_id":1},{"id":2,"camera_id":1}],
        "counting_task_group_info":[{"id":4,"widget_ids":[3]}],"counting_widget_info":[{"id":3,)" +
                  std::string(kShape) + ",\"iva_setting_id\":" + task + "}]}");
  };
  for (const std::string task : {"1", "2", "1"}) {
    report(task);
    EXPECT_THAT(Rows("SELECT iva_setting_id FROM counting_task_group_widget JOIN counting_widget w ON w.id=widget_id"),
                ElementsAre(task));
    EXPECT_THAT(report(task), IsEmpty());
  }
}

TEST_F(RowsTest, WhatCannotBeReadBackIsRefusedAndNeverKeptInPart) {
  Update(support::kEverySection);
  const Lines rows = AllRows();
  Json::Value document = Parse(support::kEverySection);
  for (Json::Value& section : document) section[0]["other"] = HUGE_VAL;
  document.removeMember("camCapList");
  EXPECT_THAT(UpdateWith(document), testing::Each(testing::Not(testing::HasSubstr("date "))));
  EXPECT_TRUE(rows == AllRows()) << support::FirstDifference(rows, AllRows());
}

TEST_F(RowsTest, NoExportTouchesRowsOfOthersWhateverTheId) {
  Update(support::kEverySection);
  for (const std::string table : {"camera", "iomodule", "pos", "ipspeaker", "axis_acs_ctrler", "iva_task", "face_task",
                                  "counting_task_group", "rec_share"}) {
    Sql("INSERT INTO " + table + " (id_on_rec_server,owner_zr_id) VALUES (1,0)");
  }
  const Lines rows = AllRows();
  Json::Value report = Parse(R"({"status":1})");
  for (const char* section : {"camera_info", "iomodule_info", "POS_info", "speaker_info", "ctrler_info"}) {
    report[section] = Parse(R"([{"id":1,"status":9}])");
  }
  for (const int id : {-1, 0}) {
    for (const char* document : {"{}", support::kEverySection}) {
      SaveSlaveInfoUpdate(SlaveZR(), Parse(document), id);
      SaveSlaveInfoPair(SlaveZR(), Parse(document), id);
    }
    SlaveZRStatus status;
    status.ZrId = id;
    SaveSlaveStatus(report, status);
    RemoveSlaveData(id);
    SyncRelatedTableForSlaveDel(id);
  }
  EXPECT_TRUE(rows == AllRows()) << support::FirstDifference(rows, AllRows());
}

TEST_F(RowsTest, ADoorOfTheHostForgetsACameraThatIsGone) {
  Sql("INSERT INTO axis_acs_ctrler (id) VALUES (1)");
  for (const auto& remove : {+[] { Update("{}"); }, +[] { RemoveSlaveData(7); }}) {
    Update(R"({"camera_info":[{"id":1}]})");
    Sql("DELETE FROM axis_door; INSERT INTO axis_door (ctrler_id,cam_zr_id,cam_id) SELECT 1,7,id FROM camera");
    remove();
    EXPECT_THAT(Rows("SELECT cam_id,cam_zr_id FROM axis_door"), ElementsAre("null|0"));
  }
}

}  // namespace
