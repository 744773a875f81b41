/// Requests to the host daemon of the CMS.
#pragma once

#include <string>

namespace CmsHostdApi {

/// Asks the host daemon to synchronise the slave's face database. @param groupId one group of faces; 0: all
/// @return 0 if the request is accepted, else -1
int NotifySyncFaceDatabase(int zrId, int groupId);

/// Asks the host daemon to synchronise the slave's licence-plate database. @return 0 if it is accepted, else -1
int NotifySyncLicensePlateDatabase(int zrId);

}  // namespace CmsHostdApi

/// Whether a server of this model has deep video analytics: the models whose name starts with "QVA".
/// @return non-zero if it has
int HaveTaviFeature(const std::string& model);
