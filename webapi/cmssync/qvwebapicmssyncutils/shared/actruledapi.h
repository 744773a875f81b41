/// Device states for the action-rule daemon, whose rules are triggered by them.
#pragma once

#include <json/value.h>

#include <list>
#include <string>

#include "actionruledaemon.h"
#include "frame/idlist.h"

namespace ActRuledApi {

/// One kind of device and the current state of its devices. @param ids  decimal, joined by ","
// NOLINTBEGIN(performance-unnecessary-value-param): the contract hands the ids over by value
template <class Status>
Json::Value TransToJson(DEVICE_SRC src, std::string ids, Status status) {
  Json::Value source(Json::objectValue);
  source["srcType"] = static_cast<int>(src);
  source["id"] = ids;
  source["status"] = static_cast<int>(status);
  return source;
}
// NOLINTEND(performance-unnecessary-value-param)

/// Sends a command about one kind of device. If this server is itself a recording server of a CMS, forwards the command
/// to the CMS host too.
/// @param only_update_states  the daemon updates the states only
/// @param zr_id               the server that the devices belong to
/// @param want_reply          receive the daemon's answer
/// @return the result of the daemon call, 0 on success; a failed forwarding is ignored
template <class Status>
int SendCmd(ACTRULED_CMD_TYPE command_type, DEVICE_SRC src, std::string ids, Status status, bool only_update_states,
            int zr_id, bool want_reply) {
  Json::Value command(Json::objectValue);
  command["source"].append(TransToJson(src, std::move(ids), status));
  command["zrId"] = zr_id;
  command["onlyUpdateDevSts"] = only_update_states;

  Json::Value reply;
  const int result = SendCmdToDaemon("qvactruled", command_type, command, want_reply ? &reply : nullptr, false);
  if (IsCmsRecServer(SERV_IDENTITY_REC_SERVER)) {
    Json::Value wrapper(Json::objectValue);
    wrapper["cmdType"] = static_cast<int>(command_type);
    wrapper["data"] = std::move(command);
    SendCmdToHostViaCmsConn(CMS_MF_MSG_ACTRULE_CMD, wrapper);
  }
  return result;
}

}  // namespace ActRuledApi

/// Adds a source entry to the "source" array of `cmd` for each list that is not empty. Sends nothing.
/// @param first, second, third  ids of cameras, I/O modules and doors
template <class First, class Second, class Third>
void CompoundSendCmd2ActRuled(const std::list<First>& first, const std::list<Second>& second,
                              const std::list<Third>& third, DEVICE_STATUS status, Json::Value& cmd) {
  const auto append = [&](DEVICE_SRC src, const auto& ids) {
    if (ids.empty()) return;
    cmd["source"].append(ActRuledApi::TransToJson(src, Iter2String(ids.begin(), ids.end(), ","), status));
  };
  append(DEVICE_SRC_CAMERA, first);
  append(DEVICE_SRC_IO_MODULE, second);
  append(DEVICE_SRC_ACS_DOOR, third);
}
