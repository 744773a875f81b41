/// Deleting what the host keeps of one slave, kind by kind.
///
/// Each function deletes everything of its kind that belongs to the server `zrId`, or nothing of it: a failure leaves
/// the kind as it was. They may be called in any order, more than once, and for a server that the host does not know:
/// where there is nothing to delete they succeed. The host's own rows belong to no server, so an id below 1 deletes
/// nothing. A row that refers to a deleted one is deleted too, or its reference is cleared. Messages stay: committed
/// messages are delivered.
///
/// All return 0 on success and -1 on failure, after one log line.
#pragma once

// Devices with what is kept for them.

/// Cameras, their edge storage, detection settings, device outputs, capability files, and the analytics tasks, counting
/// widgets and counting groups of the server.
int CamDelByZrId(int zrId);
/// I/O modules, their settings and their pairings with cameras.
int IOModuleDelByZrId(int zrId);
/// POS terminals, their text rules and event configuration.
int POSDelByZrId(int zrId);
/// IP speakers.
int SpeakerDelByZrId(int zrId);
/// Access controllers, their doors and what the action rules know of them.
int CtrlerDelByZrId(int zrId);
/// Recording shares.
int DelRecShareByZrId(int zrId);

// What other services of the host keep about a slave.

/// Items on e-maps that show a device of the server.
int DelAllEmapItemByZrId(int zrId);
/// Items of live-view layouts that show a camera of the server.
int DelLayoutAllItems(int zrId);
/// The server's entries in all privilege profiles, and the server's own row, which they are tied to.
int DelSlaveZRFromAllPrivProfile(int zrId);
/// Camera migrations from and to the server.
int DelMigrationByZrId(int zrId);
/// Membership of the server's cameras in camera groups.
int DelAllCamGrpCamByZrId(int zrId);
/// Exports of events. Files that were exported stay where the user had them put.
int DelEvtExpByZrId(int zrId);
/// Makes layout items that show a door of the server empty; the items keep their places.
int ResetDoorLayoutItemByZrId(int zrId);

/// What can be done to all event mounts of a server at once.
enum EVENT_MNT_OPERATE_TYPE : int {
  EVENT_MNT_DELETE_ALL = 3,  ///< the recordings that were mounted are left alone
};

/// Operates on the event mounts of the server. @return as above; -1 for any other operation
int OperateAllEvtMntByZrId(EVENT_MNT_OPERATE_TYPE operation, int zrId);
