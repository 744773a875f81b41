#include "countingwidgets.h"

void UpdateCountingWidgetInfo(const Json::Value&, int) {}
