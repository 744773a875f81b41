#include "countingtaskgroups.h"

void UpdateCountingTaskGroupInfo(const Json::Value&, int) {}
