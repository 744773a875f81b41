#include "camera.h"

#include "pos.h"
#include "recserversavers.h"
#include "support/hosttest.h"

namespace {

using CameraTest = support::HostTest;

TEST_F(CameraTest, PairingAgainBringsTheSameRowsUpToDate) {
  Sql("INSERT INTO camera (owner_zr_id,id_on_rec_server,name,device_status_flags) VALUES (7,1,'A',32),(7,2,'B',0)");
  const Json::Value section = Parse(R"([{"id":1,"name":"AA"},{"id":2,"name":"BB","status":4,"edgeStorage":{"size":8}},
                                        {"id":3,"status":4},null])");
  const auto import = [&](bool even_configuring, bool notify) {
    return Journal([&] { EXPECT_EQ(SaveCamObjFromRecServer(7, section, even_configuring, notify, "moved in"), 0); });
  };
  EXPECT_THAT(import(false, false),
              ElementsAre("update camera 2", "insert edge_storage_settings 1", "insert camera 3"));
  EXPECT_THAT(import(false, false), IsEmpty());
  EXPECT_THAT(import(true, true), ElementsAre("update camera 1", "message 0 msgd camera-related {}"));
  EXPECT_THAT(Rows("SELECT id_on_rec_server,name,status,note,device_status_flags FROM camera ORDER BY id"),
              ElementsAre("1|AA|0||32", "2|BB|0||0", "3||4|moved in|0"));
  Break("camera");
  EXPECT_THAT(Journal([&] { EXPECT_EQ(SaveCamObjFromRecServer(7, section, false, true, ""), -1); }),
              ElementsAre("failed to import the cameras of server [7]"));
}

TEST_F(CameraTest, WhatRefersToItGoesWithIt) {
  Camera camera;
  camera.Save();
  Lines expected;
  std::string referring_rows;
  for (const std::string table : {"edge_storage_settings", "camera_detection_setting", "camera_device_output",
                                  "layout_item", "emap_item", "camera_group_member"}) {
    EXPECT_ANY_THROW(Sql("INSERT INTO " + table + " (camera_id) VALUES (99)")) << "a reference to no camera";
    referring_rows += "INSERT INTO " + table + " (id,camera_id) VALUES (1,1);";
    expected.push_back("delete " + table + " 1");
  }
  expected.emplace_back("message 0 msgd camera-related {}");
  Sql(referring_rows);
  EXPECT_EQ(Journal([&] { EXPECT_EQ(SyncRelatedTableForCamDel(camera, true), 0); }), expected);
  Sql(referring_rows);
  EXPECT_EQ(Journal([&] { EXPECT_EQ(camera.Delete(true), 0); }).size(), 1 + expected.size());
}

}  // namespace
