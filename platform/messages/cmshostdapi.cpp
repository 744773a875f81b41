#include "cmshostdapi.h"

#include "messages/outbox.h"

using namespace qv::messages;  // NOLINT(google-build-using-namespace): this file is the package's interface

int CmsHostdApi::NotifySyncFaceDatabase(int zrId, int groupId) {
  Json::Value payload(Json::objectValue);
  payload["group_id"] = groupId;
  return Post(zrId, kHostDaemon, "sync-face-database", payload);
}

int CmsHostdApi::NotifySyncLicensePlateDatabase(int zrId) {
  return Post(zrId, kHostDaemon, "sync-license-plate-database", Json::Value(Json::objectValue));
}

int HaveTaviFeature(const std::string& model) { return model.starts_with("QVA") ? 1 : 0; }
