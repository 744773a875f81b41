#include "actionruledaemon.h"

#include "messages/outbox.h"
#include "record/import.h"
#include "server/settings.h"

using namespace qv::messages;  // NOLINT(google-build-using-namespace): this file is the package's interface

namespace {

constexpr const char* kIdentitySetting = "cms_identity";

}  // namespace

int SendCmdToDaemon(const std::string& daemon, int cmdType, const Json::Value& cmd, Json::Value* reply, bool urgent) {
  static_cast<void>(urgent);  // an outbox keeps the order of sending
  if (reply != nullptr) *reply = Json::Value();
  return Post(qv::record::IntOrZero(cmd, "zrId"), daemon, std::to_string(cmdType), cmd);
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
