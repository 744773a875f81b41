#include "facetasks.h"

void UpdateFaceInfo(const Json::Value&, int, CachedCamMap&, bool) {}
