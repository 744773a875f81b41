/// Commands to the daemons of this server and to the CMS host that this server may itself be joined to.
#pragma once

#include <json/value.h>

#include <string>

/// Commands of the action-rule daemon.
enum ACTRULED_CMD_TYPE : int {
  ACTRULED_CMD_DEVICE_STATUS = 6,
};

/// Kinds of devices that the action rules know.
enum DEVICE_SRC : int {
  DEVICE_SRC_CAMERA = 0,
  DEVICE_SRC_IO_MODULE = 2,
  DEVICE_SRC_ACS_DOOR = 3,
  DEVICE_SRC_REC_SERVER = 5,
};

/// States of a device that rules can ask for.
enum DEVICE_STATUS : int {
  DEVICE_STATUS_ENABLED = 1,
  DEVICE_STATUS_DISABLED = 2,
  DEVICE_STATUS_DELETED = 3,
};

/// The part that a server plays in a CMS.
enum SERV_IDENTITY_TYPE : int {
  SERV_IDENTITY_CMS_HOST = 0,
  SERV_IDENTITY_REC_SERVER = 1,
};

/// Messages over the connection to the CMS host.
enum CMS_MF_MSG_TYPE : int {
  CMS_MF_MSG_ACTRULE_CMD = 3,
};

/// Sends a command to a daemon of this server.
/// @param daemon  the daemon's name, "qvactruled" for the action rules
/// @param reply   receives the daemon's answer when one is wanted, else null; delivery is asynchronous, so the answer
///                is null until the daemon has run
/// @param urgent  deliver before what waits already
/// @return 0 when the command is accepted, -1 when it is not
int SendCmdToDaemon(const std::string& daemon, int cmdType, const Json::Value& cmd, Json::Value* reply, bool urgent);

/// Sends a command that was put together for several device states at once to the action-rule daemon.
/// @param zrId  the server that the devices belong to
/// @param wait  wait until the daemon has it
/// @return 0 when the command is accepted, -1 when it is not
int SendCompoundCmd(int zrId, Json::Value& cmd, bool wait);

/// Whether this server plays that part. A server is a CMS host unless the setting `cms_identity` of the table
/// `setting` says "rec-server".
bool IsCmsRecServer(SERV_IDENTITY_TYPE type);
bool IsCmsHost();

/// Forwards a message to the CMS host. @return 0 when it is accepted, -1 when it is not
int SendCmdToHostViaCmsConn(CMS_MF_MSG_TYPE type, const Json::Value& message);
