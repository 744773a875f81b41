/// I/O modules: boxes with digital inputs and outputs (contacts, relays) on the network of a recording server.
///
/// An `IOModule` is one row of the host. List rows with `IOModuleGetList`, compare one with a slave's entry
/// (`IsCfgChged`), take the entry over (`InitIOModuleByJson`), write it (`Save`).
#pragma once

#include <json/value.h>

#include <cstddef>
#include <list>
#include <map>
#include <string>

#include "actionruledaemon.h"
#include "devicestatus.h"
#include "packagetotals.h"
#include "taggedfield.h"

#define IO_MODULE_FIELDS(FIELD)                                                                         \
  FIELD(IOModuleData, int, Id, "id", HostId)                                                            \
  FIELD(IOModuleData, int, IdOnRecServer, "id_on_rec_server", IdOnSlave)                                \
  FIELD(IOModuleData, int, OwnerZrId, "owner_zr_id", Owner)                                             \
  FIELD(IOModuleData, std::string, Name, "name", Config)                                                \
  FIELD(IOModuleData, bool, Enabled, "enabled", Config, .default_int = 1)                               \
  FIELD(IOModuleData, std::string, Vendor, "vendor", Config)                                            \
  FIELD(IOModuleData, std::string, Model, "model", Config)                                              \
  FIELD(IOModuleData, std::string, FirmwareVersion, "firmware_version", Config)                         \
  FIELD(IOModuleData, std::string, MacAddress, "mac_address", Config)                                   \
  FIELD(IOModuleData, std::string, SerialNumber, "serial_number", Config)                               \
  FIELD(IOModuleData, std::string, Host, "host", Config)                                                \
  FIELD(IOModuleData, int, Port, "port", Config, .default_int = 80)                                     \
  FIELD(IOModuleData, bool, UseHttps, "use_https", Config)                                              \
  FIELD(IOModuleData, std::string, Username, "username", Secret)                                        \
  FIELD(IOModuleData, std::string, Password, "password", Secret)                                        \
  FIELD(IOModuleData, int, InputCount, "input_count", Config)                                           \
  FIELD(IOModuleData, int, OutputCount, "output_count", Config)                                         \
  FIELD(IOModuleData, JsonText, InputPorts, "input_ports", Config)   /* name, normal state ... each */  \
  FIELD(IOModuleData, JsonText, OutputPorts, "output_ports", Config) /* name, trigger state ... each */ \
  FIELD(IOModuleData, std::string, TimeZone, "time_zone", Config)                                       \
  FIELD(IOModuleData, std::string, Location, "location", Config)                                        \
  FIELD(IOModuleData, std::string, Note, "note", Config)                                                \
  FIELD(IOModuleData, int, StatusOnRecServer, "status_on_rec_server", Status, .json_key = "status")     \
  FIELD(IOModuleData, int, DeviceStatusFlags, "device_status_flags", HostOnly)                          \
  FIELD(IOModuleData, JsonText, Extra, "extra", Extra)

QV_DECLARE_FIELDS(IOModuleData, IO_MODULE_FIELDS)

class IOModule : public TaggedRecord<IOModuleData::Fields> {
 public:
  /// @return non-zero when applying the slave's entry would change this row
  int IsCfgChged(Json::Value entry) const;
  /// Whether all bits of `flag` (`__tag_DEV_STATUS_FLAGS`) are set.
  bool IsStatusFlagOn(int flag) const { return (GetDeviceStatusFlags() & flag) == flag; }
  IOModStsInfo GetStsInfo() const { return {GetId(), GetStatusOnRecServer()}; }
  /// Writes the row, if it differs; a new row is given its host id.
  /// @param notify       tell the message daemon that the module changed
  /// @param settingsToo  for that message: the configuration changed, not only the state
  /// @return 0 on success, -1 on failure
  int Save(bool notify, bool settingsToo);
  /// @return 0 when the row is deleted or was not there, -1 on failure
  int Delete() const;
};

/// Takes a slave's entry: known members into their fields, others into the extra text. A member that is absent, null
/// or of an impossible type leaves its field as it is; an entry that is no object leaves the module as it is.
/// @param isNew          the module becomes a row of its own: its host id is cleared first
/// @param fromRecServer  the entry's "id" is the module's id on the slave, not on the host
/// @param withStatus     take "status" into an existing row too; otherwise it is left to the status reports
/// @return 0 when taken, -1 when the entry is no object
int InitIOModuleByJson(const Json::Value& entry, IOModule& module, bool isNew, bool fromRecServer, bool withStatus);

/// Selects modules: all criteria must hold. A criterion at its default admits every module, except `skipConfiguring`,
/// and `ownerZrId` on a server that is not a CMS host.
struct IOModuleFilterRule {
  bool enabledOnly = false;
  bool skipConfiguring = true;           ///< leave out modules that a user is configuring; a sync must see them
  bool hostLocalOnly = false;            ///< only modules of the host itself
  bool newestFirst = false;              ///< in descending order of host ids
  int start = 0;                         ///< number of modules to skip
  int limit = 0;                         ///< number of modules to list after them; 0: all
  int ownerZrId = IsCmsHost() ? -1 : 0;  ///< the server that owns them; -1: any
  int status = -1;                       ///< status on the recording server; -1: any
  int idOnRecServer = -1;                ///< -1: any
  int port = -1;                         ///< -1: any
  int statusFlags = 0;                   ///< device status flags that must all be set
  std::string name;                      ///< this and the following: the whole text; empty: any
  std::string vendor;
  std::string model;
  std::string firmwareVersion;
  std::string macAddress;
  std::string serialNumber;
  std::string host;
  std::string timeZone;
  std::string location;
  std::string note;
};

// Other libraries fill in this rule by place.
static_assert(sizeof(IOModuleFilterRule) == 32 + 10 * sizeof(std::string));
static_assert(offsetof(IOModuleFilterRule, skipConfiguring) == 1 && offsetof(IOModuleFilterRule, ownerZrId) == 12);

/// Lists modules in order of their host ids.
/// @param total      receives the number of fitting modules; `start` and `limit` do not count
/// @param countOnly  only the total is wanted
/// @return the modules; none on failure
std::list<IOModule> IOModuleGetList(IOModuleFilterRule& rule, int& total, bool countOnly);

/// The modules of one server by their ids on it; of several with one id, the one with the lowest host id.
/// @param disabledToo  false leaves out disabled modules
/// @return the modules; none on failure
std::map<int, IOModule> GetIOModuleMapOnRecServer(int zrId, bool disabledToo);

/// Clears what refers to a deleted module (e-map items, settings, camera pairings). @return 0 on success, -1 on failure
int SyncRelatedTableForIOModuleDel(const IOModule& module);
