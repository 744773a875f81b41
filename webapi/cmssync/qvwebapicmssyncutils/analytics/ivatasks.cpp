#include "ivatasks.h"

void UpdateIvaInfo(const Json::Value&, int, CachedCamMap&, bool) {}
