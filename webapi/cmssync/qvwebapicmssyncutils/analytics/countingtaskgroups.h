/// Counting task groups of a slave.
#pragma once

#include <json/value.h>

/// Saves every group of the document's "counting_task_group_info" list with the host's widgets and deletes the slave's
/// other groups. A document without the list touches nothing. Runs when the host's copies of the widgets are current.
void UpdateCountingTaskGroupInfo(const Json::Value& info, int zrId);
