/// Messages to the message daemon, which tells the package's services and clients that device rows changed, so that
/// they load them again. A message is delivered after its change is committed, at least once, in
/// the order of sending.
///
/// All senders return 0 when the message is accepted and -1 when it is not.
#pragma once

#include <list>
#include <string>

/// What happened to the rows.
enum UPDATE_TYPE : int {
  UPDATE_TYPE_CHANGED = 0,
  UPDATE_TYPE_DELETED = 1,
};

/// Commands of the message daemon that have no sender of their own.
enum MSG_CMD_TYPE : int {
  MSG_CMD_ACS_CTRLER_UPDATE = 56,
};

/// The cameras of the host changed; receivers load all that they show.
int SendCamRelatedMsgToMsgD();

int SendPOSUpdateMsgToMsgD(const std::list<int>& ids, UPDATE_TYPE type);
int SendIPSpeakerUpdateMsgToMsgD(const std::list<int>& ids, UPDATE_TYPE type);
/// @param settingsToo  the configuration changed, not only the state
int SendIOModUpdateMsgToMsgD(const std::list<int>& ids, UPDATE_TYPE type, bool settingsToo);
int SendEmapUpdateMsgToMsgD(const std::list<int>& emapIds, UPDATE_TYPE type, bool settingsToo);
/// Any other kind of row. @param origin the user who caused it, empty for the system
/// @param receivers  client connections that are told; empty: all
int SendUpdateMsgToMsgD(MSG_CMD_TYPE command, const std::list<int>& ids, UPDATE_TYPE type, bool settingsToo,
                        std::string origin, const std::list<unsigned>& receivers);
