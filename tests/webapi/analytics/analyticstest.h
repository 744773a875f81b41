/// A host with two slaves' cameras, and the analytics steps.
#pragma once

#include "analytics/countingtaskgroups.h"
#include "analytics/countingwidgets.h"
#include "analytics/facetasks.h"
#include "analytics/ivatasks.h"
#include "camera.h"
#include "log/log.h"
#include "support/hosttest.h"

class AnalyticsTest : public support::HostTest {
 protected:
  using Lines = support::Lines;

  AnalyticsTest() { Sql("INSERT INTO camera (id,id_on_rec_server,owner_zr_id) VALUES (11,1,7),(12,2,7),(21,1,8)"); }

  static void Iva(const Json::Value& info, int zr = 7, bool update_only = false) {
    CachedCamMap cameras(zr, MAP_KEY_ID_ON_REC_SERVER);
    UpdateIvaInfo(info, zr, cameras, update_only);
  }
  static void Face(const Json::Value& info, int zr = 7, bool update_only = false) {
    CachedCamMap cameras(zr, MAP_KEY_ID_ON_REC_SERVER);
    UpdateFaceInfo(info, zr, cameras, update_only);
  }
  static void Widgets(const std::string& entries, int zr = 7) {
    UpdateCountingWidgetInfo(support::Parse("{\"counting_widget_info\":[" + entries + "]}"), zr);
  }
  static void Groups(const std::string& entries, int zr = 7) {
    UpdateCountingTaskGroupInfo(support::Parse("{\"counting_task_group_info\":[" + entries + "]}"), zr);
  }

  /// The library's messages of a call as "LEVEL function:line text", up to level 7.
  static Lines Messages(const std::function<void()>& call) {
    Lines lines;
    qv::log::Configure({.level = 7});
    qv::log::SetSink([&](const qv::log::Line& line) {
      if (line.category == "DATABASE") return;
      lines.push_back(line.level + " " + line.function + ":" + std::to_string(line.line) + " " + line.text);
    });
    call();
    qv::log::Reset();
    return lines;
  }
};
