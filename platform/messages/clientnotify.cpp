#include "clientnotify.h"

#include "messages/outbox.h"

using namespace qv::messages;  // NOLINT(google-build-using-namespace): this file is the package's interface

int QVClientNotify::Notify(CLIENT_NOTIFY_TYPE type, std::list<int>& ids) {
  Json::Value payload(Json::objectValue);
  payload["ids"] = Json::Value(Json::arrayValue);
  for (const int id : ids) payload["ids"].append(id);
  return Post(0, kClients, std::to_string(type), payload);
}
