#include "messagedaemon.h"

#include "messages/outbox.h"

using namespace qv::messages;  // NOLINT(google-build-using-namespace): this file is the package's interface

namespace {

template <class Id>
Json::Value Array(const std::list<Id>& ids) {
  Json::Value array(Json::arrayValue);
  for (const Id id : ids) array.append(id);
  return array;
}

Json::Value Update(const std::list<int>& ids, UPDATE_TYPE type) {
  Json::Value payload(Json::objectValue);
  payload["ids"] = Array(ids);
  payload["type"] = type;
  return payload;
}

int SendUpdate(std::string_view command, const std::list<int>& ids, UPDATE_TYPE type) {
  return Post(0, kMessageDaemon, command, Update(ids, type));
}

int SendUpdate(std::string_view command, const std::list<int>& ids, UPDATE_TYPE type, bool settingsToo) {
  Json::Value payload = Update(ids, type);
  payload["settings"] = settingsToo;
  return Post(0, kMessageDaemon, command, payload);
}

}  // namespace

int SendCamRelatedMsgToMsgD() { return Post(0, kMessageDaemon, "camera-related", Json::Value(Json::objectValue)); }

int SendPOSUpdateMsgToMsgD(const std::list<int>& ids, UPDATE_TYPE type) { return SendUpdate("pos-update", ids, type); }

int SendIPSpeakerUpdateMsgToMsgD(const std::list<int>& ids, UPDATE_TYPE type) {
  return SendUpdate("speaker-update", ids, type);
}

int SendIOModUpdateMsgToMsgD(const std::list<int>& ids, UPDATE_TYPE type, bool settingsToo) {
  return SendUpdate("iomodule-update", ids, type, settingsToo);
}

int SendEmapUpdateMsgToMsgD(const std::list<int>& emapIds, UPDATE_TYPE type, bool settingsToo) {
  return SendUpdate("emap-update", emapIds, type, settingsToo);
}

int SendUpdateMsgToMsgD(MSG_CMD_TYPE command, const std::list<int>& ids, UPDATE_TYPE type, bool settingsToo,
                        // NOLINTNEXTLINE(performance-unnecessary-value-param): the package's signature
                        std::string origin, const std::list<unsigned>& receivers) {
  Json::Value payload = Update(ids, type);
  payload["settings"] = settingsToo;
  payload["origin"] = origin;
  payload["receivers"] = Array(receivers);
  return Post(0, kMessageDaemon, std::to_string(command), payload);
}
