#include <regex>

#include "removal/ownedrows.h"
#include "support/hosttest.h"

namespace {

using support::Only;

struct SlaveRemoval : support::HostTest {
  ~SlaveRemoval() override {
    for (const int zr : {303, 331}) std::filesystem::remove(RtspKeyFilePath(zr));
  }

  /// Lets the host hold something of slave `zr` in every table and folder there is. Its cameras have keys that no other
  /// test has had.
  static void Hold(int zr) {
    static int key = 0;
    SlaveZR slave;
    slave.SetZrId(zr);
    SlaveZRSave(slave);
    SaveSlaveInfoUpdate(slave, Parse(support::kEverySection), zr);
    SlaveZRStatus status;
    status.ZrId = zr;
    SaveSlaveStatus(Parse(R"({"status":1,"camera_info":[{"id":1,"status":2,"rtsp_key":")" + std::to_string(++key) +
                          R"("}],"iomodule_info":[{"id":1,"status":2}]})"),
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

  /// Every row but those of the outbox.
  Lines AllRows() const {
    return support::Without(support::Without(support::DumpDatabase(folder()), "message"), "sqlite_sequence");
  }

  support::KeyFiles keys_;
};

TEST_F(SlaveRemoval, LeavesTheHostAsItWasBeforeTheSlaveCame) {
  Sql("INSERT INTO door_layout_item (layout_id,position) VALUES (1,303),(1,331)");
  Hold(331);
  const Lines rows = AllRows();
  const Lines files = support::DumpFiles(folder());
  Hold(303);
  Lines every_table = support::TablesIn(folder());
  std::erase_if(every_table, [](const std::string& table) {
    return table == "setting" || table == "schema_version" || table == "message" || table == "capability_revision" ||
           table.starts_with("sqlite");
  });
  ASSERT_THAT(qv::removal::TablesHolding(303), testing::UnorderedElementsAreArray(every_table))
      << "a table that the slave has nothing in proves nothing";
  const Lines messages = Rows("SELECT id FROM message WHERE zr_id=303");
  ASSERT_THAT(messages, testing::Not(IsEmpty()));
  ASSERT_TRUE(std::filesystem::exists(RtspKeyFilePath(303)));

  EXPECT_EQ(SyncRelatedTableForSlaveDel(303), 0);
  EXPECT_FALSE(std::filesystem::exists(RtspKeyFilePath(303)));
  EXPECT_TRUE(std::filesystem::exists(RtspKeyFilePath(331)));
  EXPECT_EQ(RemoveSlaveData(303), 0);
  EXPECT_TRUE(AllRows() == rows) << support::FirstDifference(AllRows(), rows);
  EXPECT_EQ(support::DumpFiles(folder()), files);
  EXPECT_EQ(support::ReadDeviceCache(folder())[0][1], 331);
  EXPECT_EQ(support::ReadDeviceCache(folder()).at(1), (std::array{0, 0, 0, 0}));
  EXPECT_EQ(Rows("SELECT id FROM message WHERE zr_id=303"), messages) << "what was committed is delivered";
}

TEST_F(SlaveRemoval, DoorsAreKnownByTheirHostIdWithTheirOwner) {
  Sql("INSERT INTO axis_acs_ctrler (id,owner_zr_id) VALUES (5,7);INSERT INTO axis_door (id,ctrler_id,owner_zr_id) "
      "VALUES (21,5,7),(22,5,7),(23,5,8)");
  std::unordered_map<int, int> owners;
  EXPECT_EQ(GetAxisDoorZrIdMap(owners), 0);
  EXPECT_EQ(owners, (std::unordered_map<int, int>{{21, 7}, {22, 7}, {23, 8}}));
  Break("axis_door");
  EXPECT_EQ(GetAxisDoorZrIdMap(owners), -1);
}

struct Failure {
  std::string table;  ///< whose rows cannot be deleted; "away": that cannot be reached
  int result;
  std::string line;
};
const Failure kRelations[] = {
    {"emap_item away", -1, "Failed to delete all emap items of slave zr[303]."},
    {"layout_item away", -1, "Failed to delete all camera items of slave zr[303]."},
    {"privilege_profile_server", -1, "Failed to delete slave zr[303] from all privilege profile"},
    {"camera_migration", -1, "Failed to delete camera migration of rec_server[303]"},
    {"camera", -1, "Failed to delete database data that belong to rec_server[303]"},
    {"camera_group_member away", -1, "Failed to delete cams of rec_server[303] in all camera groups"},
    {"event_mount", -1, "Failed to delete event mounts of rec_server[303]"},
    {"event_export", -1, "Failed to delete event exports of rec_server[303]"},
    {"iomodule", -1, "Failed to delete IOmodule database data that belong to rec_server[303]"},
    {"pos", 0, "Fail to delete all POS database data that belong to rec_server[303]"},
    {"ipspeaker", 0, "Fail to delete all Speaker database data that belong to rec_server[303]"},
    {"axis_acs_ctrler", 0, "Fail to delete all Controller database data that belong to rec_server[303]"},
    {"rec_share", -1, "Failed to delete event exports of rec_server[303]"},
    {"message", 0, "Failed to delete action rule of rec_server[303]."},
    {"door_layout_item away", 0, "Failed to reset door layout item of rec_server[303]."}};

struct FailingRemoval : SlaveRemoval {
  FailingRemoval() { Hold(303); }
  static void Plant(const std::string& table) {
    if (table.ends_with(" away")) return Break(table.substr(0, table.size() - 5));
    Refuse(table == "message" ? "INSERT" : "DELETE", table);
  }
  /// The log of a removal. @param level  the log's threshold
  static Lines Log(int (*removal)(int), int expected, int level) {
    return Only(Journal([&] { EXPECT_EQ(removal(303), expected); }, level), "log");
  }
};

TEST_F(FailingRemoval, OfTheRelationsReturnsWhetherAFailureCounts) {
  for (const Failure& failure : kRelations) {
    support::InUnit(false, [&] {
      Plant(failure.table);
      EXPECT_THAT(Log(SyncRelatedTableForSlaveDel, failure.result, 0),
                  ElementsAre("log - SyncRelatedTableForSlaveDel " + failure.line));
    });
  }
}

TEST_F(FailingRemoval, OfTheRelationsRunsEveryStep) {
  Lines lines;
  for (const Failure& failure : kRelations) {
    Plant(failure.table);
    lines.push_back("log - SyncRelatedTableForSlaveDel " + failure.line);
  }
  EXPECT_EQ(Log(SyncRelatedTableForSlaveDel, -1, 0), lines);
  EXPECT_FALSE(std::filesystem::exists(RtspKeyFilePath(303)));
}

TEST_F(FailingRemoval, OfTheDevicesRunsEveryStepAndReturns0) {
  for (const char* table : {"camera", "iomodule", "pos", "ipspeaker", "axis_acs_ctrler", "rec_share"}) Plant(table);
  const std::string ungated =
      "log - RemoveSlaveData Fail to delete all Controller database data that belong to rec_server[303]";
  EXPECT_THAT(
      Log(RemoveSlaveData, 0, 1),
      ElementsAre("log 1 RemoveSlaveData Fail to delete all database data that belong to rec_server[303]",
                  "log 1 RemoveSlaveData Fail to delete all iomodule database data that belong to rec_server[303]",
                  "log 1 RemoveSlaveData Fail to delete all POS database data that belong to rec_server[303]",
                  "log 1 RemoveSlaveData Fail to delete all speaker database data that belong to rec_server[303]",
                  ungated,
                  "log 1 RemoveSlaveData Fail to delete all recording storage that belong to rec_server[303]"));
  EXPECT_THAT(Log(RemoveSlaveData, 0, 0), ElementsAre(ungated));
}

}  // namespace
