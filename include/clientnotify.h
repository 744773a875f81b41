/// Notices to the clients that are connected to the host. A notice is delivered after its change is committed, at
/// least once, in the order of sending.
#pragma once

#include <list>

enum CLIENT_NOTIFY_TYPE : int {
  CLIENT_NOTIFY_CAM_LIVE_STREAM = 2,  ///< the live stream of these cameras changed: open it again
};

namespace QVClientNotify {

/// @param ids  host ids of the devices that the notice is about
/// @return 0 if the notice is accepted, else -1
int Notify(CLIENT_NOTIFY_TYPE type, std::list<int>& ids);

}  // namespace QVClientNotify
