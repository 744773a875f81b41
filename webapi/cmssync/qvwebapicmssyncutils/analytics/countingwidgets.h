/// Counting widgets of a slave's people-counting tasks.
#pragma once

#include <json/value.h>

/// Saves every widget of the document's "counting_widget_info" list under the host's copy of its IVA task and deletes
/// the widgets of the slave's tasks that are not in it. A document without the list touches nothing. Runs when the
/// host's copies of the tasks are current.
void UpdateCountingWidgetInfo(const Json::Value& info, int zrId);
