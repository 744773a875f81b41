/// The two exports for configuration documents.

#include "support/hosttest.h"

namespace {

using support::Only;

SlaveZR Slave(const std::string& model) {
  SlaveZR slave;
  slave.SetZrModel(model);
  return slave;
}

using Export = decltype(&SaveSlaveInfoPair);
constexpr Export kExports[] = {SaveSlaveInfoPair, SaveSlaveInfoUpdate};

struct Exports : support::HostTest {
  static Lines Apply(Export call, const std::string& document, const std::string& model = "NVR-20") {
    return Journal([&] { EXPECT_EQ(call(Slave(model), Parse(document), 7), 0); }, 0);
  }
};

TEST_F(Exports, TakeTheSectionsInOrder) {
  const Lines steps = {"insert camera 1",
                       "insert edge_storage_settings 1",
                       "insert capability_file 1",
                       "insert camera_detection_setting 1",
                       "insert camera_device_output 1",
                       "insert rec_share 1",
                       "insert ctrler_action_rule 1",
                       "insert iomodule 1",
                       "insert iomodule_setting 1",
                       "insert iomodule_cam_pairing 1",
                       "insert pos 1",
                       "insert pos_text_rule 1",
                       "insert pos_event_conf 1",
                       "insert ipspeaker 1",
                       "insert axis_acs_ctrler 1",
                       "insert axis_door 1",
                       "insert iva_task 1",
                       "insert counting_widget 1",
                       "insert counting_task_group 1",
                       "insert counting_task_group_widget 1",
                       "insert face_task 1"};
  support::InUnit(false, [&] {
    EXPECT_EQ(Only(Apply(SaveSlaveInfoPair, support::kEverySection), "insert"),
              support::Without(steps, "insert ctrler_action_rule"));
  });
  EXPECT_EQ(Only(Apply(SaveSlaveInfoUpdate, support::kEverySection), "insert"), steps);
}

TEST_F(Exports, SynchroniseTheDatabasesOfModelsWithAnalytics) {
  const std::string faces = R"(message 7 hostd sync-face-database {"group_id":0})";
  const std::string plates = "message 7 hostd sync-license-plate-database {}";
  EXPECT_THAT(Only(Apply(SaveSlaveInfoUpdate, "{}", "QVA-20"), "message 7 hostd"), ElementsAre(faces));
  EXPECT_THAT(Only(Apply(SaveSlaveInfoPair, "{}", "QVA-20"), "message 7 hostd"), ElementsAre(faces, plates));
  for (const Export call : kExports) EXPECT_THAT(Only(Apply(call, "{}"), "message 7 hostd"), IsEmpty());
}

TEST_F(Exports, FindTheCamerasOfTasksByTheIdsOnTheSlave) {
  for (const Export call : kExports) {
    Apply(call, R"({"camera_info":[{"id":52},{"id":1}],"iva_info":[{"id":1,"camera_id":1}],
                    "face_info":[{"id":1,"camera_id":1}]})");
    EXPECT_THAT(Rows("SELECT camera_id FROM iva_task UNION ALL SELECT camera_id FROM face_task"),
                ElementsAre("2", "2"));
    Sql("DELETE FROM iva_task; DELETE FROM face_task");
  }
}

TEST_F(Exports, GoOnAfterAFailedStep) {
  for (const char* table : {"camera", "camera_detection_setting", "rec_share", "axis_acs_ctrler"}) Break(table);
  for (const Export call : kExports) {
    Apply(call, support::kEverySection);
    EXPECT_THAT(Rows("SELECT id_on_rec_server FROM pos"), ElementsAre("1"));
    Sql("DELETE FROM pos");
  }
}

TEST_F(Exports, ThrowOnAnImpossibleDocument) {
  for (const char* document : {"[]", R"("x")", R"({"POS_info":[{"id":"1"}]})", R"({"camera_info":[{"id":{}}]})",
                               R"({"iva_info":[{"id":{}}]})", R"({"counting_widget_info":[{"id":{}}]})"}) {
    for (const Export call : kExports) {
      EXPECT_THROW(call(Slave("QVA"), Parse(document), 7), Json::Exception) << document;
    }
  }
}

}  // namespace
