#include "actionruledaemon.h"

#include <algorithm>
#include <charconv>

#include "../server/settings.h"
#include "outbox.h"

using namespace qv::messages;  // NOLINT(google-build-using-namespace): this file is the package's interface

namespace {

constexpr const char* kIdentitySetting = "cms_identity";

/// The server that a command is about.
int ServerOf(const Json::Value& command) {
  const Json::Value& id = command.isObject() ? command["zrId"] : Json::Value::nullSingleton();
  return id.isInt() ? id.asInt() : 0;
}

/// The server whose deletion a command tells of; 0 when it tells of none.
int DeletedServer(const Json::Value& command) {
  const Json::Value& sources = command.isObject() ? command["source"] : Json::Value::nullSingleton();
  if (!sources.isArray() || sources.size() != 1 || !sources[0].isObject()) return 0;
  const Json::Value& source = sources[0];
  if (source["srcType"] != Json::Value(DEVICE_SRC_REC_SERVER)) return 0;
  if (source["status"] != Json::Value(DEVICE_STATUS_DELETED) || !source["id"].isString()) return 0;
  const std::string id = source["id"].asString();
  int server = 0;
  const auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), server);
  return error == std::errc() && end == id.data() + id.size() ? std::max(server, 0) : 0;
}

}  // namespace

int SendCmdToDaemon(const std::string& daemon, int cmdType, const Json::Value& cmd, Json::Value* reply, bool urgent) {
  static_cast<void>(urgent);  // an outbox keeps the order of sending
  if (reply != nullptr) *reply = Json::Value();
  const std::string command = std::to_string(cmdType);
  // What is not delivered yet about a server that is gone has lost its meaning.
  if (const int gone = DeletedServer(cmd)) return PostInPlaceOfAll(gone, ServerOf(cmd), daemon, command, cmd);
  return Post(ServerOf(cmd), daemon, command, cmd);
}

int SendCompoundCmd(int zrId, Json::Value& cmd, bool wait) {
  static_cast<void>(wait);  // once in the outbox, the command is not lost
  return Post(zrId, kActionRuleDaemon, "compound", cmd);
}

bool IsCmsRecServer(SERV_IDENTITY_TYPE type) {
  const bool is_rec_server = qv::server::Setting(kIdentitySetting) == "rec-server";
  return type == SERV_IDENTITY_REC_SERVER ? is_rec_server : !is_rec_server;
}

bool IsCmsHost() { return IsCmsRecServer(SERV_IDENTITY_CMS_HOST); }

int SendCmdToHostViaCmsConn(CMS_MF_MSG_TYPE type, const Json::Value& message) {
  return Post(0, kCmsHost, std::to_string(type), message);
}
