#include "recserversavers.h"
#include "support/hosttest.h"

namespace {

SlaveZR Slave(const std::string& model) {
  SlaveZR slave;
  slave.SetZrModel(model);
  return slave;
}

constexpr const char* kRelated = "message 0 msgd camera-related {}";
constexpr const char* kCompound = R"(message 7 qvactruled compound {"source":[{"id":"1","srcType":0,"status":1}]})";
constexpr const char* kActionRule = "insert ctrler_action_rule 1";
constexpr const char* kLicensePlates = "message 7 hostd sync-license-plate-database {}";

struct ExportsTest : support::StatusTest {
  /// Takes every section into an empty host. @param left_out  steps of the other call
  void ExpectSteps(decltype(SaveSlaveInfoPair) call, const Lines& left_out) {
    Lines steps = support::LinesOf(
        "insert camera 1", "insert edge_storage_settings 1", kRelated, kCompound, "insert capability_file 1",
        "insert camera_detection_setting 1", "insert camera_device_output 1", "insert rec_share 1", kActionRule,
        "insert iomodule 1", "insert iomodule_setting 1", "insert iomodule_cam_pairing 1", "insert pos 1",
        "insert pos_text_rule 1", "insert pos_event_conf 1", "insert ipspeaker 1", "insert axis_acs_ctrler 1",
        "insert axis_door 1", "insert iva_task 1", "insert counting_widget 1", "insert counting_task_group 1",
        "insert counting_task_group_widget 1", "insert face_task 1",
        R"(message 7 hostd sync-face-database {"group_id":0})", kLicensePlates);
    for (const std::string& step : left_out) std::erase(steps, step);
    const Json::Value document = Parse(support::kEverySection);
    EXPECT_EQ(Journal([&] { EXPECT_EQ(call(Slave("QVA-20"), document, 7), 0); }, 1), steps);
  }
};

TEST_F(ExportsTest, UpdateTakesTheSectionsInTheirOrder) { ExpectSteps(SaveSlaveInfoUpdate, {kLicensePlates}); }

TEST_F(ExportsTest, PairTakesTheSectionsInTheirOrder) {
  ExpectSteps(SaveSlaveInfoPair, {kRelated, kCompound, kActionRule});
}

TEST_F(ExportsTest, ActionRulesKnowTheHostsCamerasAndNoSecrets) {
  Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server) VALUES (30,7,3)");
  const Json::Value section =
      Parse(R"([{"id":1,"username":"u","password":"p","door":[{"id":4,"cam_id":3},{"id":5,"cam_id":9}]}])");
  UpdateCtrlDataInActRule(7, section);
  EXPECT_THAT(Rows("SELECT settings FROM ctrler_action_rule"),
              ElementsAre(R"({"door":[{"cam_id":30,"id":4},{"cam_id":0,"id":5}],"id":1})"));
  EXPECT_THAT(Journal([&] { UpdateCtrlDataInActRule(7, section); }), IsEmpty());
}

TEST_F(ExportsTest, ModelsWithoutAnalyticsHaveNoDatabasesToSynchronise) {
  for (const auto call : {SaveSlaveInfoUpdate, SaveSlaveInfoPair}) {
    EXPECT_THAT(Journal([&] { EXPECT_EQ(call(Slave("NVR-20"), Parse("{}"), 7), 0); }),
                testing::Each(testing::Not(testing::HasSubstr("hostd"))));
  }
}

TEST_F(ExportsTest, AnImpossibleDocumentLeavesAsAnException) {
  for (const char* document : {"[]", "5", R"("x")", R"({"POS_info":[{"id":1,"name":"new"},{"id":{}}]})",
                               R"({"POS_info":[{"id":"1"}]})", R"({"POS_info":[[]]})"}) {
    const Json::Value info = Parse(document);
    EXPECT_THROW(SaveSlaveInfoUpdate(Slave("QVA"), info, 7), Json::Exception) << document;
  }
}

TEST_F(ExportsTest, SectionsAreReplacedAndTiedToTheirDevices) {
  Sql("INSERT INTO camera (owner_zr_id,id_on_rec_server) VALUES (9,3),(7,3)");
  const std::string section = R"({"camDetSetting":[{"id":1,"cam_id":3,"level":5},{"id":2,"cam_id":4}]})";
  const auto save = [&](const std::string& document) {
    return Journal([&] { SaveCamDetSettingFromRec(7, Parse(document)["camDetSetting"]); });
  };
  EXPECT_THAT(save(section), ElementsAre("insert camera_detection_setting 1", "insert camera_detection_setting 2"));
  EXPECT_THAT(Rows("SELECT camera_id,settings FROM camera_detection_setting ORDER BY id"),
              ElementsAre(R"(2|{"cam_id":2,"id":1,"level":5})", R"(null|{"cam_id":0,"id":2})"))
      << "a camera of the same slave, or none";
  EXPECT_THAT(save(section), IsEmpty());
  EXPECT_THAT(save(R"({"camDetSetting":[{"id":2,"cam_id":3}]})"),
              ElementsAre("update camera_detection_setting 2", "delete camera_detection_setting 1"));
  Refuse("INSERT", "camera_detection_setting", "NEW.id_on_rec_server=9");
  EXPECT_THAT(save(R"({"camDetSetting":[{"id":8},{"id":9}]})"),
              ElementsAre("failed to save the camera detection settings of server [7]"));
  EXPECT_THAT(Rows("SELECT id FROM camera_detection_setting"), ElementsAre("2")) << "all of a section or nothing";
  EXPECT_THAT(save("{}"), ElementsAre("delete camera_detection_setting 2"));
}

TEST_F(ExportsTest, AnUnchangedDocumentTakesAsManyStatementsForManyDevicesAsForFew) {
  const auto statements_for = [&](int zr, int count) {
    Json::Value snapshot;
    for (int id = 1; id <= count; ++id) {
      for (const char* section : {"camera_info", "iomodule_info", "POS_info", "speaker_info"}) {
        snapshot[section][id - 1]["id"] = id;
      }
      snapshot["camera_info"][id - 1]["stream_profile1"]["bit_rate"] = 1000 + id;
      snapshot["camera_info"][id - 1]["edgeStorage"]["enabled"] = true;
    }
    SaveSlaveInfoUpdate(Slave("QVA-3216"), snapshot, zr);
    snapshot["status"] = 1;  // serves as a report too
    record_.ZrId = zr;
    SaveSlaveStatus(snapshot, record_);
    const auto start = qv::db::ThisThread().statistics();
    SaveSlaveInfoUpdate(Slave("QVA-3216"), snapshot, zr);
    const auto middle = qv::db::ThisThread().statistics();
    SaveSlaveStatus(snapshot, record_);
    const auto end = qv::db::ThisThread().statistics();
    return std::array{middle.prepared - start.prepared, middle.executed - start.executed,
                      end.prepared - middle.prepared, end.executed - middle.executed};
  };
  const auto few = statements_for(1, 2);
  EXPECT_GT(few[1], 0U);
  EXPECT_EQ(statements_for(2, 300), (std::array<std::uint64_t, 4>{0, few[1], 0, 4}))
      << "a report asks once for the rows of each kind";
}

}  // namespace
