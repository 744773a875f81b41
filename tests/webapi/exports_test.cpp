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

struct Exports : support::StatusTest {
  static Lines Apply(Export call, const std::string& document, const std::string& model = "NVR-20", int level = 0) {
    return Journal([&] { EXPECT_EQ(call(Slave(model), Parse(document), 7), 0); }, level);
  }
};

TEST_F(Exports, ModelsWithAnalyticsHaveTheirDatabasesSynchronised) {
  const std::string faces = R"(message 7 hostd sync-face-database {"group_id":0})";
  const std::string plates = "message 7 hostd sync-license-plate-database {}";
  EXPECT_THAT(Only(Apply(SaveSlaveInfoUpdate, "{}", "QVA-20"), "message 7 hostd"), ElementsAre(faces));
  EXPECT_THAT(Only(Apply(SaveSlaveInfoPair, "{}", "QVA-20"), "message 7 hostd"), ElementsAre(faces, plates));
  EXPECT_THAT(Only(Apply(SaveSlaveInfoUpdate, "{}"), "message 7 hostd"), IsEmpty());
  EXPECT_THAT(Only(Apply(SaveSlaveInfoPair, "{}"), "message 7 hostd"), IsEmpty());
}

TEST_F(Exports, TasksFindTheirCamerasByTheIdsOnTheSlave) {
  const std::string document =
      R"({"camera_info":[{"id":52},{"id":1}],"iva_info":[{"id":1,"camera_id":1}],
                                   "face_info":[{"id":1,"camera_id":1}]})";
  for (const Export call : {SaveSlaveInfoPair, SaveSlaveInfoUpdate}) {
    Apply(call, document);
    EXPECT_THAT(Rows("SELECT camera_id FROM iva_task UNION ALL SELECT camera_id FROM face_task"),
                ElementsAre("2", "2"));
    Sql("DELETE FROM iva_task; DELETE FROM face_task");
  }
}

TEST_F(Exports, GoOnAfterAFailedStep) {
  const std::string document =
      R"({"camera_info":[{"id":1}],"camDetSetting":[{"id":1}],"recShare":[{"id":1}],
                                   "ctrler_info":[{"id":1}],"POS_info":[{"id":1}]})";
  for (const char* table : {"camera", "camera_detection_setting", "rec_share", "axis_acs_ctrler"}) Break(table);
  for (const Export call : {SaveSlaveInfoPair, SaveSlaveInfoUpdate}) {
    Apply(call, document);
    EXPECT_THAT(Rows("SELECT id_on_rec_server FROM pos"), ElementsAre("1"));
    Sql("DELETE FROM pos");
  }
}

TEST_F(Exports, AnImpossibleDocumentThrows) {
  for (const char* document : {"[]", "5", R"("x")", R"({"POS_info":[{"id":{}}]})", R"({"POS_info":[{"id":"1"}]})",
                               R"({"camera_info":[{"id":{}}]})", R"({"iva_info":[{"id":{}}]})",
                               R"({"face_info":[{"id":{}}]})", R"({"counting_widget_info":[{"id":{}}]})"}) {
    const Json::Value info = Parse(document);
    EXPECT_THROW(SaveSlaveInfoUpdate(Slave("QVA"), info, 7), Json::Exception) << document;
    EXPECT_THROW(SaveSlaveInfoPair(Slave("QVA"), info, 7), Json::Exception) << document;
  }
}

/// How often a document that changes nothing asks the database.
std::uint64_t Statements(const std::function<void()>& apply) {
  apply();
  const std::uint64_t before = qv::db::ThisThread().statistics().executed;
  apply();
  return qv::db::ThisThread().statistics().executed - before;
}

TEST_F(Exports, AnUnchangedDocumentTakesAsManyStatementsForManyDevicesAsForFew) {
  std::vector<std::uint64_t> updates;
  for (const int count : {2, 300}) {
    Json::Value document;
    document["status"] = 1;  // serves as a report too
    for (int id = 1; id <= count; ++id) {
      for (const char* section : {"camera_info", "iomodule_info", "POS_info", "speaker_info"}) {
        document[section][id - 1]["id"] = id;
      }
      document["camera_info"][id - 1]["edgeStorage"]["enabled"] = true;
    }
    updates.push_back(Statements([&] { SaveSlaveInfoUpdate(SlaveZR(), document, 7); }));
    EXPECT_EQ(Statements([&] { SaveSlaveStatus(document, record_); }), 4U) << "one for the rows of each kind";
  }
  EXPECT_EQ(updates[0], updates[1]);
}

}  // namespace
