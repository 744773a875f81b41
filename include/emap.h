/// E-maps: plans of a site on which devices are shown.
#pragma once

#include <list>

/// Kinds of items on an e-map.
enum EMAP_TYPE : int {
  EMAP_TYPE_POS = 4,
  EMAP_TYPE_IP_SPEAKER = 5,
};

/// Ids of the e-maps that show any of these devices, in ascending order. Empty after one log line on failure.
/// @param ids  host ids
std::list<int> GetRelatedEmapIdsByEmapItemType(EMAP_TYPE type, const std::list<int>& ids);
