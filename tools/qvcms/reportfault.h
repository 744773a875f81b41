/// Where a status report cannot be read.
#pragma once

#include <json/value.h>

#include <string>

namespace qvcms {

/// The first place, in the order in which slave `zr`'s report is applied, whose value has an impossible type, such as
/// "cam_count" or "POS_info[2].status". What is not read, as the counts while the slave is offline or the status of a
/// device that the host does not have, is no fault. Empty when there is none.
std::string FindFault(const Json::Value& report, int zr);

}  // namespace qvcms
