#include "camera.h"

#include "pos.h"
#include "recserversavers.h"
#include "support/hosttest.h"

namespace {

using CameraTest = support::HostTest;

TEST_F(CameraTest, PairingAgainBringsTheSameRowsUpToDate) {
  Sql("INSERT INTO camera (owner_zr_id,id_on_rec_server,name,device_status_flags) VALUES (7,1,'A',32),(7,2,'B',0)");
  const Json::Value section = Parse(R"([{"id":1,"name":"AA"},{"id":2,"name":"BB","status":4,"edgeStorage":{"size":8}},
                                        {"id":3,"status":4,"edgeStorage":{}},null])");
  const auto import = [&](bool even_configuring, bool notify) {
    return Journal([&] { EXPECT_EQ(SaveCamObjFromRecServer(7, section, even_configuring, notify, "moved in"), 0); });
  };
  EXPECT_THAT(import(false, false), ElementsAre("update camera 2", "insert edge_storage_settings 1", "insert camera 3",
                                                "insert edge_storage_settings 2"));
  EXPECT_THAT(import(false, false), IsEmpty());
  EXPECT_THAT(import(true, true), ElementsAre("update camera 1", "message 0 msgd camera-related {}"));
  EXPECT_THAT(Rows("SELECT id,owner_zr_id,id_on_rec_server,name,status,note,device_status_flags FROM camera"),
              ElementsAre("1|7|1|AA|0||32", "2|7|2|BB|0||0", "3|7|3||4|moved in|0"));
  Break("camera");
  EXPECT_THAT(Journal([&] { EXPECT_EQ(SaveCamObjFromRecServer(7, section, false, true, ""), -1); }),
              ElementsAre("failed to import the cameras of server [7]"));
}

TEST_F(CameraTest, PartsAreNotSaved) {
  Sql("INSERT INTO camera (owner_zr_id,id_on_rec_server,name) VALUES (7,1,'A');"
      "INSERT INTO pos (owner_zr_id,id_on_rec_server,name) VALUES (7,1,'B')");
  std::map<int, Camera> cameras;
  EXPECT_EQ(CamGetMapByZrId(cameras, 7, MAP_KEY_ID_ON_REC_SERVER), 0);
  EXPECT_EQ(cameras.at(1).Save(), -1);
  EXPECT_TRUE(CachedCamMap(7, MAP_KEY_HOST_ID).Get(cameras));
  EXPECT_EQ(cameras.at(1).Save(), -1);
  EXPECT_EQ(GetPOSMapOnRecServer(7, true).at(1).Save(), -1);
  EXPECT_THAT(Rows("SELECT name FROM camera UNION SELECT name FROM pos"), ElementsAre("A", "B"));
}

TEST_F(CameraTest, TakesAnEntryAsItsFlagsSay) {
  const Json::Value entry = Parse(R"({"id":5,"status":3})");
  using Taken = std::vector<int>;  ///< host id, id on the slave, status
  const auto take = [&](bool is_new, bool from_rec_server, bool with_status) {
    Camera camera;
    camera.SetId(9);
    camera.SetIdOnRecServer(2);
    camera.SetStatus(1);
    EXPECT_EQ(InitCamObjByJson(entry, camera, is_new, from_rec_server, with_status), 0);
    return Taken{camera.GetId(), camera.GetIdOnRecServer(), camera.GetStatus()};
  };
  EXPECT_EQ(take(true, true, false), (Taken{0, 5, 3}));
  EXPECT_EQ(take(false, true, false), (Taken{9, 5, 1}));
  EXPECT_EQ(take(false, true, true), (Taken{9, 5, 3}));
  EXPECT_EQ(take(false, false, false), (Taken{9, 2, 1}));
}

TEST_F(CameraTest, ListsWhatTheRuleMeans) {
  Sql("INSERT INTO camera (owner_zr_id,name,enabled,vendor,ptz_capability,device_status_flags,audio_enabled) VALUES"
      "(0,'Gate',1,'Acme',7,0,0),(7,'Gate 2',0,'Acme',1,0,1),(7,'Yard',1,'Bolt',0,32,0),(8,'Hall',1,'Acme',4,4,0)");
  int total = 0;
  const auto ids = [&](auto&& set) {
    CamFilterRule rule;
    rule.skipConfiguring = false;
    set(rule);
    std::string text;
    for (const Camera& camera : CamGetList(rule, total, true)) text += std::to_string(camera.GetId()) + " ";
    return text;
  };
  EXPECT_EQ(ids([](CamFilterRule&) {}), "1 2 3 4 ");
  EXPECT_EQ(ids([](CamFilterRule& rule) { rule.skipConfiguring = true; }), "1 2 4 ");
  EXPECT_EQ(ids([](CamFilterRule& rule) { rule.includeDisabled = false; }), "1 3 4 ");
  EXPECT_EQ(ids([](CamFilterRule& rule) { rule.audioOnly = true; }), "2 ");
  EXPECT_EQ(ids([](CamFilterRule& rule) { rule.ptzOnly = true; }), "1 2 4 ");
  EXPECT_EQ(ids([](CamFilterRule& rule) { rule.ptzCapability = 5; }), "1 ");
  EXPECT_EQ(ids([](CamFilterRule& rule) { rule.deviceStatusFlags = 4; }), "4 ");
  EXPECT_EQ(ids([](CamFilterRule& rule) { rule.ownerZrId = 7, rule.id = 3; }), "3 ");
  EXPECT_EQ(ids([](CamFilterRule& rule) { rule.vendor = "Acme", rule.nameContains = "Ga"; }), "1 2 ");
  EXPECT_EQ(ids([](CamFilterRule& rule) { rule.newestFirst = true, rule.offset = 1, rule.limit = 2; }), "3 2 ");
  EXPECT_EQ(total, 4);
  Sql("INSERT INTO setting (name,text) VALUES ('cms_identity','rec-server')");
  EXPECT_EQ(ids([](CamFilterRule&) {}), "1 ") << "a server that is no CMS host lists its own";
}

TEST_F(CameraTest, WhatRefersToItGoesWithIt) {
  const Lines tables = {
      "edge_storage_settings", "camera_detection_setting", "camera_device_output", "layout_item", "emap_item",
      "camera_group_member"};
  Camera camera;
  camera.Save();
  for (const std::string& table : tables) {
    EXPECT_ANY_THROW(Sql("INSERT INTO " + table + " (camera_id) VALUES (99)")) << "a reference to no camera";
    Sql("INSERT INTO " + table + " (camera_id) VALUES (1)");
  }
  Lines journal;
  for (const std::string& table : tables) journal.push_back("delete " + table + " 1");
  journal.push_back("message 0 msgd camera-related {}");
  EXPECT_EQ(Journal([&] { EXPECT_EQ(SyncRelatedTableForCamDel(camera, true), 0); }), journal);
  for (const std::string& table : tables) Sql("INSERT INTO " + table + " (camera_id) VALUES (1)");
  const Lines deleted = Journal([&] { EXPECT_EQ(camera.Delete(true), 0); });
  EXPECT_EQ(deleted.front(), "delete camera 1");
  EXPECT_EQ(deleted.back(), "message 0 msgd camera-related {}");
  for (const std::string& table : tables) EXPECT_THAT(Rows("SELECT * FROM " + table), IsEmpty()) << table;
}

}  // namespace
