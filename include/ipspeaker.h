/// IP speakers: network loudspeakers for announcements, background audio and two-way talk.
#pragma once

#include <json/value.h>

#include <list>
#include <map>
#include <string>

#include "packagetotals.h"
#include "qvoptional.h"
#include "taggedfield.h"

#define IP_SPEAKER_FIELDS(FIELD)                                                                     \
  FIELD(IPSpeakerData, int, Id, "id", HostId)                                                        \
  FIELD(IPSpeakerData, int, IdOnRecServer, "id_on_rec_server", IdOnSlave)                            \
  FIELD(IPSpeakerData, int, OwnerZrId, "owner_zr_id", Owner)                                         \
  FIELD(IPSpeakerData, std::string, Name, "name", Config)                                            \
  FIELD(IPSpeakerData, bool, Enabled, "enabled", Config, .default_int = 1)                           \
  FIELD(IPSpeakerData, std::string, Vendor, "vendor", Config)                                        \
  FIELD(IPSpeakerData, std::string, Model, "model", Config)                                          \
  FIELD(IPSpeakerData, std::string, FirmwareVersion, "firmware_version", Config)                     \
  FIELD(IPSpeakerData, std::string, MacAddress, "mac_address", Config)                               \
  FIELD(IPSpeakerData, std::string, Host, "host", Config)                                            \
  FIELD(IPSpeakerData, int, Port, "port", Config, .default_int = 80)                                 \
  FIELD(IPSpeakerData, bool, UseHttps, "use_https", Config)                                          \
  FIELD(IPSpeakerData, std::string, Username, "username", Secret)                                    \
  FIELD(IPSpeakerData, std::string, Password, "password", Secret)                                    \
  FIELD(IPSpeakerData, std::string, AudioCodec, "audio_codec", Config)                               \
  FIELD(IPSpeakerData, int, SampleRate, "sample_rate", Config)           /* Hz */                    \
  FIELD(IPSpeakerData, int, Volume, "volume", Config, .default_int = 50) /* percent */               \
  FIELD(IPSpeakerData, bool, Muted, "muted", Config)                                                 \
  FIELD(IPSpeakerData, bool, MulticastEnabled, "multicast_enabled", Config)                          \
  FIELD(IPSpeakerData, std::string, MulticastAddress, "multicast_address", Config)                   \
  FIELD(IPSpeakerData, int, MulticastPort, "multicast_port", Config)                                 \
  FIELD(IPSpeakerData, JsonText, SpeakerGroups, "speaker_groups", Config)                            \
  FIELD(IPSpeakerData, JsonText, PairedCameras, "paired_cameras", Config) /* ids on the slave */     \
  FIELD(IPSpeakerData, JsonText, AudioClips, "audio_clips", Config)                                  \
  FIELD(IPSpeakerData, JsonText, Schedule, "schedule", Config)                                       \
  FIELD(IPSpeakerData, bool, SipEnabled, "sip_enabled", Config)                                      \
  FIELD(IPSpeakerData, std::string, SipServer, "sip_server", Config)                                 \
  FIELD(IPSpeakerData, std::string, SipAccount, "sip_account", Secret)                               \
  FIELD(IPSpeakerData, std::string, TimeZone, "time_zone", Config)                                   \
  FIELD(IPSpeakerData, std::string, Note, "note", Config)                                            \
  FIELD(IPSpeakerData, int, StatusOnRecServer, "status_on_rec_server", Status, .json_key = "status") \
  FIELD(IPSpeakerData, int, DeviceStatusFlags, "device_status_flags", HostOnly)                      \
  FIELD(IPSpeakerData, JsonText, Extra, "extra", Extra)

QV_DECLARE_FIELDS(IPSpeakerData, IP_SPEAKER_FIELDS)

/// A speaker's state: its id on the host and its status.
struct SpeakerStsInfo {
  int id = 0;
  int status = 0;
  bool operator==(const SpeakerStsInfo&) const = default;
};

class IPSpeaker : public TaggedRecord<IPSpeakerData::Fields> {
 public:
  /// @return non-zero when applying the slave's entry would change this row, or when it has a member that cannot be
  /// taken
  int IsCfgChanged(Json::Value entry) const;
  /// Takes a slave's entry whose keys are the columns' names. Members that are absent or null keep their value.
  /// @param fromRecServer the entry's "id" is the speaker's id on the slave, not on the host
  /// @param hostId        the row's id on the host, 0 for a new row
  /// @param withStatus    take "status" into an existing row too; otherwise it is left to the status reports
  /// @return non-zero when taken; 0 when the entry is no object or a member has an impossible type: nothing changed
  int SetByJsonWithDBColKey(const Json::Value& entry, bool fromRecServer, int hostId, bool withStatus);
  /// Writes the row; a new row is given its host id. @return 0 on success, -1 on failure
  int Save();
  /// @return 0 when the row is deleted or was not there, -1 on failure
  int Delete() const;

  SpeakerStsInfo GetStsInfo() const { return {GetId(), GetStatusOnRecServer()}; }
};

/// Which speakers are meant; a criterion that is unset admits every row.
struct IPSpeakerFilterRule {
  Optional<bool> hostLocalOnly;  ///< true: only speakers of the host itself; false: the owner does not matter
  Optional<std::list<int>> ids;
  Optional<std::list<int>> ownerZrIds;
  Optional<bool> enabled;
};

/// Lists speakers in order of their host ids. @param total receives their number. An empty list on failure.
std::list<IPSpeaker> IPSpeakerGetList(const IPSpeakerFilterRule& rule, int& total);

/// The speakers of one server by their ids on it; of several with one id, the one with the lowest host id.
/// @param disabledToo  false leaves out disabled speakers
/// @return the speakers; none on failure
std::map<int, IPSpeaker> GetSpeakerMapOnRecServer(int zrId, bool disabledToo);

namespace SpeakerSync {
/// Clears what refers to a deleted speaker (e-map items). @return 0 on success, -1 on failure
int SyncRelatedTableForSpeakerDel(const IPSpeaker& speaker);
}  // namespace SpeakerSync
