#include "ctrlers.h"

int UpdateCtrlerData(int, const Json::Value&) { return 0; }
