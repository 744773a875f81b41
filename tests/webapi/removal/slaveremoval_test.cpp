#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>

#include "qvwebapicmssyncutils.h"
#include "rtspinfo.h"
#include "server/ownedrows.h"
#include "shmdbcache.h"
#include "slavedata.h"
#include "slavezr.h"
#include "slavezrstatus.h"
#include "support/hosttest.h"
#include "support/keyfiles.h"

namespace {

using support::Lines;
using support::Parse;
using testing::ElementsAre;
using testing::IsEmpty;

using Contents = std::map<std::string, std::string>;

constexpr const char* kDocument = R"({
  "camera_info":[{"id":1,"name":"A","edgeStorage":{"enabled":true}}],
  "camCapList":[{"camVendor":"V","camModel":"M","capFileName":"9/V/M.cap","camCap":{"zoom":1}}],
  "camDetSetting":[{"id":1,"cam_id":1}], "camDeviceOutput":[{"id":1,"cam_id":1}], "recShare":[{"id":1}],
  "iomodule_info":[{"id":1,"name":"B"}], "iomoduleSetting":[{"id":1,"iomodule_id":1}],
  "iomoduleCamPairing":[{"id":1,"iomodule_id":1,"cam_id":1}],
  "POS_info":[{"id":1,"text_rules":[{"type":0,"pattern":"VOID"}]}], "POS_eventconf":[{"id":1,"pos_id":1}],
  "speaker_info":[{"id":1}], "ctrler_info":[{"id":1,"name":"C","door":[{"id":1,"name":"D"}]}],
  "iva_info":[{"id":1,"camera_id":1,"type":6,"enable":true}], "face_info":[{"id":1,"camera_id":1}],
  "counting_widget_info":[{"id":1,"iva_setting_id":1,"type":2,"fence":[{"x":0,"y":0.5},{"x":1,"y":0.5}]}],
  "counting_task_group_info":[{"id":1,"widget_ids":[1]}]})";

class SlaveRemoval : public support::HostTest {
 protected:
  SlaveRemoval() { Sql("INSERT INTO door_layout_item (layout_id,position) VALUES (1,3),(1,31)"); }
  ~SlaveRemoval() override {
    for (const int zr : {3, 31}) std::filesystem::remove(RtspKeyFilePath(zr));
  }

  /// Lets the host hold something of slave `zr` in every table and folder there is.
  static void Hold(int zr) {
    const std::string id = std::to_string(zr);
    SlaveZR slave;
    slave.SetZrId(zr);
    slave.SetZrModel("QVA-1");
    SlaveZRSave(slave);
    SaveSlaveInfoPair(slave, Parse(kDocument), zr);
    SaveSlaveInfoUpdate(slave, Parse(kDocument), zr);
    Sql("INSERT INTO ctrler_action_rule (owner_zr_id,settings) VALUES (" + id + ",'{}')");
    SlaveZRStatus status;
    status.ZrId = zr;
    SaveSlaveStatus(Parse(R"({"status":1,"camera_info":[{"id":1,"status":2,"rtsp_key":"k"}],
                              "iomodule_info":[{"id":1,"status":2}]})"),
                    status);
    for (const std::string item : {"camera", "pos", "iomodule"}) {
      Sql("INSERT INTO emap_item (emap_id," + item + "_id) SELECT 1,id FROM " + item + " WHERE owner_zr_id=" + id);
    }
    const std::string of_camera = " SELECT 1,id FROM camera WHERE owner_zr_id=" + id;
    Sql("INSERT INTO layout_item (layout_id,camera_id)" + of_camera);
    Sql("INSERT INTO camera_group_member (group_id,camera_id)" + of_camera);
    Sql("INSERT INTO privilege_profile_server (profile_id,zr_id) VALUES (1," + id + ")");
    Sql("INSERT INTO camera_migration (source_zr_id,destination_zr_id) VALUES (" + id + ",0),(0," + id + ")");
    Sql("INSERT INTO event_mount (zr_id,name) VALUES (" + id + ",'m')");
    Sql("INSERT INTO event_export (zr_id,name) VALUES (" + id + ",'e')");
    Sql("UPDATE door_layout_item SET zr_id=" + id +
        ",title='D',door_id=(SELECT id FROM axis_door WHERE owner_zr_id=" + id + ") WHERE position=" + id);
  }

  /// The rows of every table but the outbox and the database's own.
  static Contents AllRows() {
    Contents rows;
    for (const std::string& table :
         Rows("SELECT name FROM sqlite_master WHERE type='table' AND name NOT LIKE 'sqlite%' "
              "AND name<>'message' ORDER BY name")) {
      std::string text;
      for (const std::string& row : Rows("SELECT * FROM " + table)) text += row + '\n';
      rows[table.ends_with("_away") ? table.substr(0, table.size() - 5) : table] = text;
    }
    return rows;
  }

  static Lines Differing(const Contents& left, const Contents& right) {
    Lines names;
    for (const auto& [name, text] : left) {
      if (right.at(name) != text) names.push_back(name);
    }
    return names;
  }

  static std::string Content(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  Contents CapabilityFiles() const {
    Contents files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder() / "capability")) {
      files[entry.path().string()] = entry.is_regular_file() ? Content(entry.path()) : "";
    }
    return files;
  }

  /// The owners of the device cache's entries.
  std::vector<int> CacheOwners() const {
    const std::string bytes = Content(folder() / "device-cache.shm");
    ShmDBCacheHeader header{};
    std::memcpy(&header, bytes.data(), sizeof header);
    std::vector<int> owners;
    for (std::uint32_t i = 0; i < header.count; ++i) {
      ShmDBCacheEntry entry{};
      std::memcpy(&entry, bytes.data() + sizeof header + i * sizeof entry, sizeof entry);
      owners.push_back(entry.owner_zr_id);
    }
    return owners;
  }

 private:
  support::KeyFiles keys_;
};

TEST_F(SlaveRemoval, LeavesTheHostAsItWasBeforeTheSlaveCame) {
  Hold(31);
  const Contents rows = AllRows();
  const Contents files = CapabilityFiles();
  const std::string key = Content(RtspKeyFilePath(31));
  ASSERT_NE(key, "");
  Hold(3);
  Lines every_table;
  for (const auto& [table, text] : rows) {
    if (table != "setting" && table != "schema_version" && table != "staged_file") every_table.push_back(table);
  }
  ASSERT_EQ(Differing(rows, AllRows()), every_table) << "a table that the slave has nothing in proves nothing";
  Lines held = qv::server::TablesHolding(3);
  std::sort(held.begin(), held.end());
  EXPECT_EQ(held, every_table);
  ASSERT_NE(Rows("SELECT id FROM message WHERE zr_id=3"), Lines());
  ASSERT_THAT(CacheOwners(), ElementsAre(31, 3));

  EXPECT_EQ(SyncRelatedTableForSlaveDel(3), 0);
  EXPECT_EQ(RemoveSlaveData(3), 0);
  EXPECT_THAT(Differing(rows, AllRows()), IsEmpty());
  EXPECT_THAT(qv::server::TablesHolding(3), IsEmpty());
  EXPECT_TRUE(CapabilityFiles() == files);
  EXPECT_FALSE(std::filesystem::exists(RtspKeyFilePath(3)));
  EXPECT_EQ(Content(RtspKeyFilePath(31)), key);
  EXPECT_THAT(CacheOwners(), ElementsAre(31, 0));
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
  EXPECT_THAT(writes,
              ElementsAre("delete emap_item", "delete layout_item", "delete privilege_profile_server", "delete server",
                          "delete camera_migration", "insert staged_file", "delete capability_file",
                          "delete counting_task_group_widget", "delete counting_task_group", "delete counting_widget",
                          "delete iva_task", "delete face_task", "delete edge_storage_settings",
                          "delete camera_detection_setting", "delete camera_device_output", "delete camera",
                          "delete staged_file", "delete event_mount", "delete event_export", "delete iomodule_setting",
                          "delete iomodule", "delete pos_text_rule", "delete pos_event_conf", "delete pos",
                          "delete ipspeaker", "delete ctrler_action_rule", "delete axis_door", "delete axis_acs_ctrler",
                          "delete rec_share", "delete message", "message 0", "update door_layout_item"));
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

struct Fault {
  const char* operation;  ///< refused; empty: the table is out of reach
  const char* table;
  const char* kept;  ///< tables that the failing step leaves as they were
  int result;
  const char* message;
};

std::ostream& operator<<(std::ostream& out, const Fault& fault) { return out << fault.message; }

std::string NameOf(const testing::TestParamInfo<Fault>& fault) { return fault.param.table; }

const char* const kCameras =
    "camera camera_detection_setting camera_device_output capability_file counting_task_group "
    "counting_task_group_widget counting_widget edge_storage_settings face_task iva_task ";
const char* const kModules = "iomodule iomodule_setting ";  // pairings go with the camera
const char* const kPoss = "pos pos_event_conf pos_text_rule ";
const char* const kCtrlers = "axis_acs_ctrler axis_door ctrler_action_rule ";

class FailingStep : public SlaveRemoval {
 protected:
  void Break(const Fault& fault) {
    Hold(3);
    if (*fault.operation != '\0') {
      Refuse(fault.operation, fault.table);
    } else {
      HostTest::Break(fault.table);
    }
  }
  static std::string Joined(const Lines& names) {
    std::string text;
    for (const std::string& name : names) text += name + ' ';
    return text;
  }
  /// What was logged, but for the platform's own lines.
  template <class Call>
  Lines Log(int level, Call&& call) {
    Lines lines = Journal(call, level);
    std::erase_if(lines, [](const std::string& line) { return !line.starts_with("log "); });
    return lines;
  }
};

class FailingRelationStep : public FailingStep, public testing::WithParamInterface<Fault> {};

TEST_P(FailingRelationStep, IsLoggedAndTheRestRuns) {
  const Fault& fault = GetParam();
  const Contents none = AllRows();
  Break(fault);
  EXPECT_THAT(Log(0, [&] { EXPECT_EQ(SyncRelatedTableForSlaveDel(3), fault.result); }),
              ElementsAre(std::string("log - SyncRelatedTableForSlaveDel ") + fault.message));
  EXPECT_EQ(Joined(Differing(none, AllRows())), fault.kept);
  EXPECT_FALSE(std::filesystem::exists(RtspKeyFilePath(3)));
  EXPECT_EQ(std::filesystem::exists(folder() / "capability/3"), std::string(fault.kept) == kCameras);
}

INSTANTIATE_TEST_SUITE_P(
    , FailingRelationStep,
    testing::Values(
        Fault{"", "emap_item", "", -1, "Failed to delete all emap items of slave zr[3]."},
        Fault{"", "layout_item", "", -1, "Failed to delete all camera items of slave zr[3]."},
        Fault{"DELETE", "privilege_profile_server", "privilege_profile_server server ", -1,
              "Failed to delete slave zr[3] from all privilege profile"},
        Fault{"", "camera_migration", "camera_migration ", -1, "Failed to delete camera migration of rec_server[3]"},
        Fault{"DELETE", "camera", kCameras, -1, "Failed to delete database data that belong to rec_server[3]"},
        Fault{"", "camera_group_member", "", -1, "Failed to delete cams of rec_server[3] in all camera groups"},
        Fault{"", "event_mount", "event_mount ", -1, "Failed to delete event mounts of rec_server[3]"},
        Fault{"", "event_export", "event_export ", -1, "Failed to delete event exports of rec_server[3]"},
        Fault{"DELETE", "iomodule", kModules, -1,
              "Failed to delete IOmodule database data that belong to rec_server[3]"},
        Fault{"DELETE", "pos", kPoss, 0, "Fail to delete all POS database data that belong to rec_server[3]"},
        Fault{"DELETE", "ipspeaker", "ipspeaker ", 0,
              "Fail to delete all Speaker database data that belong to rec_server[3]"},
        Fault{"DELETE", "axis_acs_ctrler", kCtrlers, 0,
              "Fail to delete all Controller database data that belong to rec_server[3]"},
        Fault{"DELETE", "rec_share", "rec_share ", -1, "Failed to delete event exports of rec_server[3]"},
        Fault{"INSERT", "message", "", 0, "Failed to delete action rule of rec_server[3]."},
        Fault{"", "door_layout_item", "door_layout_item ", 0, "Failed to reset door layout item of rec_server[3]."}),
    NameOf);

class FailingDeviceStep : public FailingStep, public testing::WithParamInterface<Fault> {};

TEST_P(FailingDeviceStep, IsLoggedByItsLevelAndTheRestRuns) {
  const Fault& fault = GetParam();
  const Contents none = AllRows();
  Break(fault);
  const std::string text = std::string(" RemoveSlaveData ") + fault.message;
  const auto remove = [&] { EXPECT_EQ(RemoveSlaveData(3), 0); };
  const bool gated = std::string(fault.kept) != kCtrlers;
  EXPECT_THAT(Log(1, remove), ElementsAre((gated ? "log 1" : "log -") + text));
  EXPECT_EQ(Log(0, remove), gated ? Lines() : Lines{"log -" + text});
  // What is not a device's stays for the other entry.
  Lines differing = Differing(none, AllRows());
  for (const char* other : {"camera_migration", "door_layout_item", "event_export", "event_mount",
                            "privilege_profile_server", "server", "emap_item", "layout_item", "camera_group_member"}) {
    std::erase(differing, other);
  }
  EXPECT_EQ(Joined(differing), fault.kept);
}

INSTANTIATE_TEST_SUITE_P(
    , FailingDeviceStep,
    testing::Values(
        Fault{"DELETE", "camera", kCameras, 0, "Fail to delete all database data that belong to rec_server[3]"},
        Fault{"DELETE", "iomodule", kModules, 0,
              "Fail to delete all iomodule database data that belong to rec_server[3]"},
        Fault{"DELETE", "pos", kPoss, 0, "Fail to delete all POS database data that belong to rec_server[3]"},
        Fault{"DELETE", "ipspeaker", "ipspeaker ", 0,
              "Fail to delete all speaker database data that belong to rec_server[3]"},
        Fault{"DELETE", "axis_acs_ctrler", kCtrlers, 0,
              "Fail to delete all Controller database data that belong to rec_server[3]"},
        Fault{"DELETE", "rec_share", "rec_share ", 0,
              "Fail to delete all recording storage that belong to rec_server[3]"}),
    NameOf);

}  // namespace
