/// A host with two slaves' cameras, and the analytics steps. The journal names the places of messages, which are part
/// of their contract here.
#pragma once

#include "analytics/facetasks.h"
#include "analytics/ivatasks.h"
#include "camera.h"
#include "support/hosttest.h"

struct AnalyticsTest : support::HostTest {
  AnalyticsTest() {
    support::journal_names_places = true;
    Sql("INSERT INTO camera (id,id_on_rec_server,owner_zr_id) VALUES (11,1,7),(12,2,7),(21,1,8)");
  }
  ~AnalyticsTest() override { support::journal_names_places = false; }

  static void Iva(const std::string& entries, int zr = 7, bool update_only = false) {
    CachedCamMap cameras(zr, MAP_KEY_ID_ON_REC_SERVER);
    UpdateIvaInfo(Parse("{\"iva_info\":[" + entries + "]}"), zr, cameras, update_only);
  }
  static void Face(const std::string& entries, int zr = 7, bool update_only = false) {
    CachedCamMap cameras(zr, MAP_KEY_ID_ON_REC_SERVER);
    UpdateFaceInfo(Parse("{\"face_info\":[" + entries + "]}"), zr, cameras, update_only);
  }
};
