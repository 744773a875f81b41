/// Axis access controllers and their doors.
///
/// An `AxisAcsCtrler` is one row of the host together with its doors, which are rows of their own. List controllers
/// with `GetAcsCtrlerListByRule`, take an entry over (`SetByJson`), write it with its doors (`Save`).
#pragma once

#include <json/value.h>

#include <list>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

#include "taggedfield.h"

#define AXIS_DOOR_FIELDS(FIELD)                                                                                     \
  FIELD(AxisDoorData, int, Id, "id", HostId)                                                                        \
  FIELD(AxisDoorData, int, IdOnRecServer, "id_on_rec_server", IdOnSlave, .json_key = "id_on_rec")                   \
  FIELD(AxisDoorData, int, OwnerZrId, "owner_zr_id", Owner)                                                         \
  FIELD(AxisDoorData, int, CtrlerId, "ctrler_id", HostOnly, .references = "axis_acs_ctrler")                        \
  FIELD(AxisDoorData, std::string, Name, "name", Config)                                                            \
  FIELD(AxisDoorData, bool, Enabled, "enabled", Config, .default_int = 1)                                           \
  FIELD(AxisDoorData, int, CamId, "cam_id", Config, .references = "camera", .on_delete = OnDelete::SetNull)         \
  FIELD(AxisDoorData, int, CamZrId, "cam_zr_id", Config) /* server that owns the tied camera */                     \
  FIELD(AxisDoorData, int, LockType, "lock_type", Config)                                                           \
  FIELD(AxisDoorData, int, AccessTime, "access_time", Config)              /* s that the door stays unlocked */     \
  FIELD(AxisDoorData, int, LongAccessTime, "long_access_time", Config)     /* s, for cardholders who need longer */ \
  FIELD(AxisDoorData, JsonText, LockSettings, "lock_settings", Config)     /* relays, monitors, priorities */       \
  FIELD(AxisDoorData, JsonText, ReaderSettings, "reader_settings", Config) /* readers of both sides */              \
  FIELD(AxisDoorData, JsonText, UnlockSchedule, "unlock_schedule", Config)                                          \
  FIELD(AxisDoorData, int, LayoutPosition, "layout_position", HostOnly) /* place on door layouts; 0: none */        \
  FIELD(AxisDoorData, int, Status, "status", Status)                                                                \
  FIELD(AxisDoorData, JsonText, Extra, "extra", Extra)

QV_DECLARE_FIELDS(AxisDoorData, AXIS_DOOR_FIELDS)

class AxisDoor : public TaggedRecord<AxisDoorData::Fields> {
 public:
  /// Takes an entry in the host's terms: "id" is the door's id on the host (0: a new door), "id_on_rec" that on its
  /// server, "cam_id" and "cam_zr_id" name the host's copy of the tied camera. Members that are absent, null or of an
  /// impossible type leave their fields as they are; "status" is taken into a new door only.
  /// @return non-zero when taken; 0 when the entry is no object: nothing changed
  int SetByJson(const Json::Value& entry);
  /// Writes the door's row, if it differs; the row of a new door comes with its controller's `Save`.
  /// @return 0 on success, -1 on failure or when the door has no row yet
  int Save();
};

#define AXIS_ACS_CTRLER_FIELDS(FIELD)                                                             \
  FIELD(AxisAcsCtrlerData, int, Id, "id", HostId)                                                 \
  FIELD(AxisAcsCtrlerData, int, IdOnRec, "id_on_rec_server", IdOnSlave, .json_key = "id_on_rec")  \
  FIELD(AxisAcsCtrlerData, int, OwnerZrId, "owner_zr_id", Owner)                                  \
  FIELD(AxisAcsCtrlerData, std::string, Name, "name", Config)                                     \
  FIELD(AxisAcsCtrlerData, bool, Enabled, "enabled", Config, .default_int = 1)                    \
  FIELD(AxisAcsCtrlerData, std::string, Model, "model", Config)                                   \
  FIELD(AxisAcsCtrlerData, std::string, FirmwareVersion, "firmware_version", Config)              \
  FIELD(AxisAcsCtrlerData, std::string, SerialNumber, "serial_number", Config)                    \
  FIELD(AxisAcsCtrlerData, std::string, MacAddr, "mac_addr", Config)                              \
  FIELD(AxisAcsCtrlerData, std::string, Host, "host", Config)                                     \
  FIELD(AxisAcsCtrlerData, int, Port, "port", Config, .default_int = 80)                          \
  FIELD(AxisAcsCtrlerData, bool, UseHttps, "use_https", Config)                                   \
  FIELD(AxisAcsCtrlerData, std::string, Username, "username", Secret)                             \
  FIELD(AxisAcsCtrlerData, std::string, Password, "password", Secret)                             \
  FIELD(AxisAcsCtrlerData, std::string, TimeZone, "time_zone", Config)                            \
  FIELD(AxisAcsCtrlerData, int, LogRetentionDays, "log_retention_days", Config) /* 0: no limit */ \
  FIELD(AxisAcsCtrlerData, std::string, Note, "note", Config)                                     \
  FIELD(AxisAcsCtrlerData, int, Status, "status", Status)                                         \
  FIELD(AxisAcsCtrlerData, int, DeviceStatusFlags, "device_status_flags", HostOnly)               \
  FIELD(AxisAcsCtrlerData, JsonText, Extra, "extra", Extra)

QV_DECLARE_FIELDS(AxisAcsCtrlerData, AXIS_ACS_CTRLER_FIELDS)

/// State of a controller. Other numbers that a slave reports are kept as they are.
enum ACSCTRL_STATUS : int {
  ACSCTRL_STATUS_UNKNOWN = 0,
  ACSCTRL_STATUS_CONNECTED = 1,
  ACSCTRL_STATUS_DISCONNECTED = 2,
  ACSCTRL_STATUS_DISABLED = 3,
  ACSCTRL_STATUS_LOGIN_FAILED = 4,
};

class AxisAcsCtrler : public TaggedRecord<AxisAcsCtrlerData::Fields> {
 public:
  /// Takes an entry in the host's terms: "id" is the controller's id on the host, "id_on_rec" that on its server,
  /// "zr_id" the server, "door" its doors. Members that are absent, null or of an impossible type leave their fields as
  /// they are; "status" is taken into a new controller or door only.
  ///
  /// Doors are paired by position: each entry goes to the door at its position, or becomes a new door. An entry that
  /// has "id_on_rec" and as "id" the host id of its door is in the host's terms as well; any other still speaks as its
  /// server does ("id" and "cam_id" are ids there) and is tied to the host's copy of the camera. No door is ever
  /// dropped.
  /// @return non-zero when taken; 0 when the entry is no object or the cameras cannot be looked up: nothing changed
  int SetByJson(const Json::Value& entry);
  /// Writes the row and the rows of its doors, those that differ, all or none. A new controller or door is given its
  /// host id. The row of a door that is not in the list stays: the door may have been added meanwhile, and no report
  /// takes a door away; doors go with their controller.
  /// @return 0 on success, -1 on failure
  int Save();

  /// `GetIdOnRec` under the name that other devices have for it.
  int GetIdOnRecServer() const { return GetIdOnRec(); }
  ACSCTRL_STATUS GetStatus() const { return static_cast<ACSCTRL_STATUS>(StatusField::GetStatus()); }
  void SetStatus(ACSCTRL_STATUS status) { StatusField::SetStatus(status); }

  /// In the order of their host ids, new ones last.
  const std::list<AxisDoor>& GetDoorList() const { return doors_; }
  void SetDoorList(const std::list<AxisDoor>& doors) { doors_ = doors; }

 private:
  using StatusField = TaggedField<AxisAcsCtrlerData::Fields, AxisAcsCtrlerData::Status>;

  std::list<AxisDoor> doors_;
};

/// Orders of a list of controllers; equal ones follow by their host ids.
enum ACS_CTRLER_ORDER : int {
  ACS_CTRLER_ORDER_NAME = 0,
  ACS_CTRLER_ORDER_HOST = 1,
  ACS_CTRLER_ORDER_MODEL = 2,
  ACS_CTRLER_ORDER_STATUS = 3,
  ACS_CTRLER_ORDER_ID = 4,
};

/// Which controllers are meant: all criteria must hold; a criterion at its default admits every controller.
struct AxisAcsCtrlerFilterRule {
  int start = 0;                    ///< number of controllers to skip
  int limit = 0;                    ///< number of controllers to list after them; 0: all
  bool withDoors = true;            ///< load the doors too
  bool enabledOnly = false;         ///< only enabled controllers
  bool hostLocalOnly = false;       ///< only controllers of the host itself
  bool descending = false;          ///< in descending order
  int order = ACS_CTRLER_ORDER_ID;  ///< an `ACS_CTRLER_ORDER`
  int statusFlags = 0;              ///< device status flags that must all be set
  int minDoors = 0;                 ///< number of doors at least
  std::list<int> ids;               ///< this and the following lists: one of these; empty: any
  std::list<int> statuses;
  std::list<int> doorIds;  ///< host ids; the controller has one of these doors
  std::list<int> ownerZrIds;
  std::set<int> cameraIds;  ///< host ids; a door of the controller is tied to one of these cameras
  std::string keyword;      ///< part of the name, the address or the MAC address
};

/// Lists controllers with their doors. @return 0 on success, -1 on failure (the list is empty then)
int GetAcsCtrlerListByRule(const AxisAcsCtrlerFilterRule& rule, std::list<AxisAcsCtrler>& list);

/// Deletes the controllers that the rule means, with their doors, all or none. @return 0 on success, -1 on failure
int DeleteAcsCtrlerByRule(const AxisAcsCtrlerFilterRule& rule);

/// The controllers of one server by their ids on it; of several with one id, the one with the lowest host id.
/// @return the controllers; none on failure
std::map<int, AxisAcsCtrler> GetCtrlerMapOnRec(int zrId);

/// Fills `doorToZr` with the owning server of every door, by the door's host id.
/// @return 0 on success, -1 on failure (the map is empty then)
int GetDoorZrIdMap(std::unordered_map<int, int>& doorToZr);
