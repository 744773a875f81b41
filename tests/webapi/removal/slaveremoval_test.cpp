#include <regex>

#include "server/ownedrows.h"
#include "slavedata.h"
#include "support/hosttest.h"

namespace {

using Contents = std::map<std::string, support::Lines>;

struct SlaveRemoval : support::HostTest {
  SlaveRemoval() { Sql("INSERT INTO door_layout_item (layout_id,position) VALUES (1,3),(1,31)"); }
  ~SlaveRemoval() override {
    for (const int zr : {3, 31}) std::filesystem::remove(RtspKeyFilePath(zr));
  }

  /// Lets the host hold something of slave `zr` in every table and folder there is.
  static void Hold(int zr) {
    SlaveZR slave;
    slave.SetZrId(zr);
    SlaveZRSave(slave);
    SaveSlaveInfoUpdate(slave, Parse(support::kEverySection), zr);
    SlaveZRStatus status;
    status.ZrId = zr;
    SaveSlaveStatus(Parse(R"({"status":1,"camera_info":[{"id":1,"status":2,"rtsp_key":"k"}],
                              "iomodule_info":[{"id":1,"status":2}]})"),
                    status);
    constexpr const char* kRelations = R"(
        INSERT INTO emap_item (emap_id,camera_id) SELECT 1,id FROM camera WHERE owner_zr_id=@;
        INSERT INTO emap_item (emap_id,pos_id) SELECT 1,id FROM pos WHERE owner_zr_id=@;
        INSERT INTO emap_item (emap_id,iomodule_id) SELECT 1,id FROM iomodule WHERE owner_zr_id=@;
        INSERT INTO layout_item (layout_id,camera_id) SELECT 1,id FROM camera WHERE owner_zr_id=@;
        INSERT INTO camera_group_member (group_id,camera_id) SELECT 1,id FROM camera WHERE owner_zr_id=@;
        INSERT INTO privilege_profile_server (profile_id,zr_id) VALUES (1,@);
        INSERT INTO camera_migration (source_zr_id,destination_zr_id) VALUES (@,0),(0,@);
        INSERT INTO event_mount (zr_id,name) VALUES (@,'m');
        INSERT INTO event_export (zr_id,name) VALUES (@,'e');
        UPDATE door_layout_item SET zr_id=@,title='D',door_id=(SELECT id FROM axis_door WHERE owner_zr_id=@)
          WHERE position=@)";
    Sql(std::regex_replace(kRelations, std::regex("@"), std::to_string(zr)));
  }

  /// The rows of every table but the outbox and the database's own.
  static Contents AllRows() {
    Contents rows;
    for (const std::string& table : Rows("SELECT name FROM sqlite_master WHERE type='table' AND name NOT IN "
                                         "('message','capability_revision') AND name NOT LIKE 'sqlite%'")) {
      rows[table.substr(0, table.find("_away"))] = Rows("SELECT * FROM " + table);
    }
    return rows;
  }

  static Lines Differing(const Contents& left, const Contents& right) {
    Lines names;
    for (const auto& [name, rows] : left) {
      if (right.at(name) != rows) names.push_back(name);
    }
    return names;
  }

  support::KeyFiles keys_;
};

TEST_F(SlaveRemoval, LeavesTheHostAsItWasBeforeTheSlaveCame) {
  Hold(31);
  const Contents rows = AllRows();
  const Lines files = support::DumpFiles(folder());
  const std::string key = support::ReadWholeFile(RtspKeyFilePath(31));
  ASSERT_NE(key, "");
  Hold(3);
  Lines every_table;
  for (const auto& [table, held] : rows) {
    if (table != "setting" && table != "schema_version") every_table.push_back(table);
  }
  ASSERT_EQ(Differing(rows, AllRows()), every_table) << "a table that the slave has nothing in proves nothing";
  EXPECT_THAT(qv::server::TablesHolding(3), testing::UnorderedElementsAreArray(every_table));
  ASSERT_NE(Rows("SELECT id FROM message WHERE zr_id=3"), Lines());
  ASSERT_EQ(support::ReadDeviceCache(folder()).at(1)[1], 3);

  EXPECT_EQ(SyncRelatedTableForSlaveDel(3), 0);
  EXPECT_EQ(RemoveSlaveData(3), 0);
  EXPECT_THAT(Differing(rows, AllRows()), IsEmpty());
  EXPECT_THAT(qv::server::TablesHolding(3), IsEmpty());
  EXPECT_EQ(support::DumpFiles(folder()), files);
  EXPECT_FALSE(std::filesystem::exists(folder() / "capability/3"));
  EXPECT_FALSE(std::filesystem::exists(RtspKeyFilePath(3)));
  EXPECT_EQ(support::ReadWholeFile(RtspKeyFilePath(31)), key);
  EXPECT_EQ(support::ReadDeviceCache(folder())[0][1], 31);
  EXPECT_EQ(support::ReadDeviceCache(folder()).at(1), (std::array{0, 0, 0, 0}));
  EXPECT_THAT(Rows("SELECT id FROM message WHERE zr_id=3"), IsEmpty());
  EXPECT_NE(Rows("SELECT id FROM message WHERE zr_id=31"), Lines());
  EXPECT_THAT(Rows("SELECT target,command,payload FROM message ORDER BY id DESC LIMIT 1"),
              ElementsAre(R"(qvactruled|6|{"onlyUpdateDevSts":false,"source":[{"id":"3","srcType":5,"status":3}],)"
                          R"("zrId":0})"));
}

TEST_F(SlaveRemoval, TakesItsStepsInOrder) {
  Hold(3);
  Lines writes;
  for (const std::string& line : Journal([] { SyncRelatedTableForSlaveDel(3); })) {
    const std::string write = line.substr(0, line.find(' ', line.find(' ') + 1));
    if (writes.empty() || writes.back() != write) writes.push_back(write);
  }
  // Membership in camera groups, step 6, has gone with the cameras.
  EXPECT_THAT(
      writes,
      ElementsAre("delete emap_item", "delete layout_item", "delete privilege_profile_server", "delete server",
                  "delete camera_migration", "delete capability_file", "delete counting_task_group_widget",
                  "delete counting_task_group", "delete counting_widget", "delete iva_task", "delete face_task",
                  "delete edge_storage_settings", "delete camera_detection_setting", "delete camera_device_output",
                  "delete camera", "delete camera_group_member", "delete iomodule_cam_pairing", "delete event_mount",
                  "delete event_export", "delete iomodule_setting", "delete iomodule", "delete pos_text_rule",
                  "delete pos_event_conf", "delete pos", "delete ipspeaker", "delete ctrler_action_rule",
                  "delete axis_door", "update door_layout_item", "delete axis_acs_ctrler", "delete rec_share",
                  "delete message", "message 0", "update door_layout_item"));
}

TEST_F(SlaveRemoval, OfAnUnknownSlaveOrTheHostItselfChangesNothing) {
  Hold(3);
  Sql("UPDATE pos SET owner_zr_id=0");
  const Contents rows = AllRows();
  for (const int zr : {4, 0, -1}) {
    EXPECT_THAT(Journal([&] { EXPECT_EQ(SyncRelatedTableForSlaveDel(zr), 0); }), testing::SizeIs(1)) << "announcement";
    EXPECT_THAT(Journal([&] { EXPECT_EQ(RemoveSlaveData(zr), 0); }), IsEmpty());
  }
  EXPECT_TRUE(AllRows() == rows);
  EXPECT_EQ(OperateAllEvtMntByZrId(static_cast<EVENT_MNT_OPERATE_TYPE>(1), 3), -1);
}

constexpr char kCameras[] =
    "camera camera_detection_setting camera_device_output capability_file counting_task_group "
    "counting_task_group_widget counting_widget edge_storage_settings face_task iva_task ";
constexpr char kCtrlers[] = "axis_acs_ctrler axis_door ctrler_action_rule ";

struct Fault {
  const char* operation;  ///< refused; empty: the table is out of reach
  const char* table;
  const char* kept;  ///< tables that the failing step leaves as they were
  int result;
  const char* message;
  const char* device_message = nullptr;  ///< null: the removal of devices has no such step
};
void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.message; }
constexpr Fault kFaults[] = {
    {"", "emap_item", "", -1, "Failed to delete all emap items of slave zr[3]."},
    {"", "layout_item", "", -1, "Failed to delete all camera items of slave zr[3]."},
    {"DELETE", "privilege_profile_server", "privilege_profile_server server ", -1,
     "Failed to delete slave zr[3] from all privilege profile"},
    {"", "camera_migration", "camera_migration ", -1, "Failed to delete camera migration of rec_server[3]"},
    {"DELETE", "camera", kCameras, -1, "Failed to delete database data that belong to rec_server[3]",
     "Fail to delete all database data that belong to rec_server[3]"},
    {"", "camera_group_member", "", -1, "Failed to delete cams of rec_server[3] in all camera groups"},
    {"", "event_mount", "event_mount ", -1, "Failed to delete event mounts of rec_server[3]"},
    {"", "event_export", "event_export ", -1, "Failed to delete event exports of rec_server[3]"},
    {"DELETE", "iomodule", "iomodule iomodule_setting ", -1,  // pairings go with the camera
     "Failed to delete IOmodule database data that belong to rec_server[3]",
     "Fail to delete all iomodule database data that belong to rec_server[3]"},
    {"DELETE", "pos", "pos pos_event_conf pos_text_rule ", 0,
     "Fail to delete all POS database data that belong to rec_server[3]",
     "Fail to delete all POS database data that belong to rec_server[3]"},
    {"DELETE", "ipspeaker", "ipspeaker ", 0, "Fail to delete all Speaker database data that belong to rec_server[3]",
     "Fail to delete all speaker database data that belong to rec_server[3]"},
    {"DELETE", "axis_acs_ctrler", kCtrlers, 0,
     "Fail to delete all Controller database data that belong to rec_server[3]",
     "Fail to delete all Controller database data that belong to rec_server[3]"},
    {"DELETE", "rec_share", "rec_share ", -1, "Failed to delete event exports of rec_server[3]",
     "Fail to delete all recording storage that belong to rec_server[3]"},
    {"INSERT", "message", "", 0, "Failed to delete action rule of rec_server[3]."},
    {"", "door_layout_item", "door_layout_item ", 0, "Failed to reset door layout item of rec_server[3]."}};

struct FailingStep : SlaveRemoval, testing::WithParamInterface<Fault> {
  void HoldAndBreak() {
    Hold(3);
    const auto& [operation, table, kept, result, message, device_message] = GetParam();
    *operation == '\0' ? Break(table) : Refuse(operation, table);
  }
  /// What the slave left, but for what is not a device's, which stays for the other entry, if asked.
  std::string Left(bool of_devices) const {
    const std::string others =
        " camera_migration door_layout_item event_export event_mount emap_item layout_item privilege_profile_server "
        "server camera_group_member ";
    std::string text;
    for (const std::string& table : Differing(none_, AllRows())) {
      const bool is_other = others.find(' ' + table + ' ') != std::string::npos;
      if (!of_devices || !is_other) text += table + ' ';
    }
    return text;
  }
  const Contents none_ = AllRows();
};
INSTANTIATE_TEST_SUITE_P(, FailingStep, testing::ValuesIn(kFaults),
                         [](const auto& fault) { return std::string(fault.param.table); });

TEST_P(FailingStep, OfTheRelationsIsLoggedAndTheRestRuns) {
  const Fault& fault = GetParam();
  HoldAndBreak();
  // What was logged, but for the platform's own lines.
  EXPECT_THAT(support::Only(Journal([&] { EXPECT_EQ(SyncRelatedTableForSlaveDel(3), fault.result); }, 0), "log"),
              ElementsAre(std::string("log - SyncRelatedTableForSlaveDel ") + fault.message));
  EXPECT_EQ(Left(false), fault.kept);
  EXPECT_FALSE(std::filesystem::exists(RtspKeyFilePath(3)));
  EXPECT_EQ(std::filesystem::exists(folder() / "capability/3"), std::string(fault.kept) == kCameras);
}

TEST_P(FailingStep, OfTheDevicesIsLoggedByItsLevelAndTheRestRuns) {
  const Fault& fault = GetParam();
  if (fault.device_message == nullptr) return;
  HoldAndBreak();
  const auto remove = [&] { EXPECT_EQ(RemoveSlaveData(3), 0); };
  const bool gated = fault.kept != kCtrlers;
  const std::string text = std::string(gated ? "log 1" : "log -") + " RemoveSlaveData " + fault.device_message;
  EXPECT_THAT(support::Only(Journal(remove, 1), "log"), ElementsAre(text));
  EXPECT_EQ(support::Only(Journal(remove, 0), "log"), gated ? Lines() : Lines{text});
  EXPECT_EQ(Left(true), fault.kept);
}

}  // namespace
