/// Reading a camera query rule.
#pragma once

#include <list>

#include "camera.h"

namespace qv::devices {

/// The cameras that fit the rule, in its order. @param fitting  receives their number before offset and limit
/// Throws `db::Error`.
std::list<Camera> SelectCameras(const CamFilterRule& rule, int& fitting);

}  // namespace qv::devices
