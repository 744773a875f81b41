/// The analytics sections of a document, one step each. Every step brings the host's copies of slave `zr_id`'s records
/// in line with its section and changes nothing if the document lacks the section. Failures are logged.
#pragma once

#include <json/value.h>

class CachedCamMap;

/// IVA tasks, section "iva_info" (ivatasks.cpp).
/// @param camera_map   the slave's cameras by their ids on the slave
/// @param update_only  rewrite changed tasks, but neither delete nor insert tasks
void UpdateIvaInfo(const Json::Value& info, int zr_id, CachedCamMap& camera_map, bool update_only);

/// Face tasks, section "face_info" (facetasks.cpp). Arguments as for `UpdateIvaInfo`.
void UpdateFaceInfo(const Json::Value& info, int zr_id, CachedCamMap& camera_map, bool update_only);

/// Counting widgets, section "counting_widget_info" (countingwidgets.cpp). Saves every widget under the host's copy of
/// its IVA task, so it runs after `UpdateIvaInfo`, and deletes widgets of the slave's tasks that are not reported.
void UpdateCountingWidgetInfo(const Json::Value& info, int zr_id);

/// Counting task groups, section "counting_task_group_info" (countingtaskgroups.cpp). Saves every group with the host's
/// widgets, so it runs after `UpdateCountingWidgetInfo`, and deletes the slave's other groups.
void UpdateCountingTaskGroupInfo(const Json::Value& info, int zr_id);
