/// Network cameras.
///
/// A `Camera` is one row of the host. List rows with `CamGetList`, compare one with a slave's entry (`IsCfgChged`),
/// take the entry over (`InitCamObjByJson`), write it (`Save`). A camera that goes is deleted (`Delete`), then what
/// refers to it (`SyncRelatedTableForCamDel`).
#pragma once

#include <json/value.h>

#include <list>
#include <map>
#include <memory>
#include <string>

#include "camfilterrule.h"
#include "camstsinfo.h"
#include "devicestatus.h"
#include "packagetotals.h"
#include "taggedfield.h"

#define CAMERA_FIELDS(FIELD)                                                                                 \
  FIELD(CameraData, int, Id, "id", HostId)                                                                   \
  FIELD(CameraData, int, IdOnRecServer, "id_on_rec_server", IdOnSlave)                                       \
  FIELD(CameraData, int, OwnerZrId, "owner_zr_id", Owner)                                                    \
  FIELD(CameraData, std::string, Name, "name", Config)                                                       \
  FIELD(CameraData, bool, Enabled, "enabled", Config, .default_int = 1)                                      \
  FIELD(CameraData, std::string, Vendor, "vendor", Config)                                                   \
  FIELD(CameraData, std::string, Model, "model", Config)                                                     \
  FIELD(CameraData, std::string, FirmwareVersion, "firmware_version", Config)                                \
  FIELD(CameraData, std::string, MacAddress, "mac_address", Config)                                          \
  FIELD(CameraData, std::string, Host, "host", Config)                                                       \
  FIELD(CameraData, int, Port, "port", Config, .default_int = 80)                                            \
  FIELD(CameraData, bool, UseHttps, "use_https", Config)                                                     \
  FIELD(CameraData, int, RtspPort, "rtsp_port", Config, .default_int = 554)                                  \
  FIELD(CameraData, std::string, RtspPath, "rtsp_path", Config)                                              \
  FIELD(CameraData, std::string, Username, "username", Secret)                                               \
  FIELD(CameraData, std::string, Password, "password", Secret)                                               \
  FIELD(CameraData, int, Channel, "channel", Config, .default_int = 1) /* input of a multi-channel device */ \
  FIELD(CameraData, std::string, VideoCodec, "video_codec", Config)                                          \
  FIELD(CameraData, std::string, Resolution, "resolution", Config) /* width x height, pixels */              \
  FIELD(CameraData, int, FrameRate, "frame_rate", Config)          /* frames/s */                            \
  FIELD(CameraData, int, BitRate, "bit_rate", Config)              /* kbit/s */                              \
  FIELD(CameraData, int, Quality, "quality", Config)                                                         \
  FIELD(CameraData, JsonText, StreamProfile1, "stream_profile1", Config) /* codec, resolution, rates ... */  \
  FIELD(CameraData, JsonText, StreamProfile2, "stream_profile2", Config)                                     \
  FIELD(CameraData, JsonText, StreamProfile3, "stream_profile3", Config)                                     \
  FIELD(CameraData, int, LiveProfile, "live_profile", Config) /* 0 to 2: which stream profile */             \
  FIELD(CameraData, int, RecordingProfile, "recording_profile", Config)                                      \
  FIELD(CameraData, int, MobileProfile, "mobile_profile", Config)                                            \
  FIELD(CameraData, JsonText, RecordingSchedule, "recording_schedule", Config)                               \
  FIELD(CameraData, int, RetentionDays, "retention_days", Config) /* 0: no limit */                          \
  FIELD(CameraData, int, RetentionSize, "retention_size", Config) /* GB; 0: no limit */                      \
  FIELD(CameraData, int, PreRecording, "pre_recording", Config)   /* s */                                    \
  FIELD(CameraData, int, PostRecording, "post_recording", Config) /* s */                                    \
  FIELD(CameraData, bool, AudioEnabled, "audio_enabled", Config)                                             \
  FIELD(CameraData, std::string, AudioCodec, "audio_codec", Config)                                          \
  FIELD(CameraData, int, PtzCapability, "ptz_capability", Config)         /* bits: 1 pan, 2 tilt, 4 zoom */  \
  FIELD(CameraData, int, MotionSource, "motion_source", Config)           /* 0 off, 1 camera, 2 server */    \
  FIELD(CameraData, int, MotionSensitivity, "motion_sensitivity", Config) /* percent */                      \
  FIELD(CameraData, JsonText, MotionRegions, "motion_regions", Config)                                       \
  FIELD(CameraData, int, MotionEventType, "motion_event_type", Config) /* alert raised; 0: none */           \
  FIELD(CameraData, int, TamperingEventType, "tampering_event_type", Config)                                 \
  FIELD(CameraData, int, AudioEventType, "audio_event_type", Config)                                         \
  FIELD(CameraData, int, DisconnectEventType, "disconnect_event_type", Config)                               \
  FIELD(CameraData, std::string, TimeZone, "time_zone", Config)                                              \
  FIELD(CameraData, std::string, Note, "note", Config)                                                       \
  FIELD(CameraData, int, Status, "status", Status)                                                           \
  FIELD(CameraData, int, DeviceStatusFlags, "device_status_flags", HostOnly)                                 \
  FIELD(CameraData, JsonText, Extra, "extra", Extra)

QV_DECLARE_FIELDS(CameraData, CAMERA_FIELDS)

/// What a map of cameras is keyed by.
enum MAP_KEY_TYPE : int {
  MAP_KEY_HOST_ID = 0,
  MAP_KEY_ID_ON_REC_SERVER = 1,
};

class Camera : public TaggedRecord<CameraData::Fields> {
 public:
  /// @return non-zero when applying the slave's entry would change this row
  int IsCfgChged(Json::Value entry) const;
  /// Writes the row; a new row is given its host id. A camera of a map (`CamGetMapByZrId`,
  /// `CachedCamMap`) has not all of its fields and cannot be saved. @return 0 on success, -1 on failure
  int Save();
  /// @param notify  tell the message daemon that the host's cameras changed
  /// @return 0 when the row is deleted or was not there, -1 on failure
  int Delete(bool notify) const;

  /// Whether all bits of `flag` are set in the device status flags.
  bool IsStatusFlagOn(int flag) const { return (GetDeviceStatusFlags() & flag) == flag; }
  CamStsInfo GetStsInfo() const { return CamStsInfo(*this); }
};

/// Takes a slave's entry into `camera`. Members that are absent, null or of an impossible type keep their value; keys
/// that the record has no field for are kept in its extra text. The owner stays as it is.
/// @param isNew          the camera becomes a new row: its host id is cleared, and state ("status") is taken too
/// @param fromRecServer  the entry's "id" is the camera's id on the slave
/// @param withStatus     take "status" into an existing row too; otherwise it is left to the status reports
/// @return 0; -1 when the entry is no object: nothing changed but the host id of a new camera
int InitCamObjByJson(const Json::Value& entry, Camera& camera, bool isNew, bool fromRecServer, bool withStatus);

/// Lists cameras in order of their host ids. An empty list on failure.
/// @param total        receives the number of cameras listed; 0 on failure
/// @param beyondLimit  `total` counts all cameras that fit the rule, whatever its offset and limit
std::list<Camera> CamGetList(CamFilterRule& rule, int& total, bool beyondLimit);

/// Clears what refers to a deleted camera: edge storage, detection settings, device outputs, layout items, e-map
/// items, membership in camera groups. All of it or, on failure, nothing.
/// @param notify  tell the message daemon, so that clients drop what they show of the camera
/// @return 0 on success, -1 on failure
int SyncRelatedTableForCamDel(const Camera& camera, bool notify);

/// Fills `map` with the cameras owned by `zrId`; of several with one key, the one with the lowest host id. They have
/// their ids and owner and no other field, which is what doors and tasks refer to a camera by.
/// @return 0 on success, -1 on failure (the map is empty then)
int CamGetMapByZrId(std::map<int, Camera>& map, int zrId, MAP_KEY_TYPE keyType);

namespace qv::analytics {
class TakenRows;
}

/// The cameras of one server, loaded at the first `Get` and kept for the object's life. They have their ids, owner,
/// state, flags, live profile and stream profiles; a fleet's reports would read the other fields all day for nothing.
///
/// A driver keeps one of these while it applies one document. Until it goes, entries for counting widgets or groups
/// that have one id on the slave are different ones: each takes a row of its own.
class CachedCamMap {
 public:
  CachedCamMap(int zrId, MAP_KEY_TYPE keyType);
  ~CachedCamMap();
  CachedCamMap(const CachedCamMap&) = delete;
  CachedCamMap& operator=(const CachedCamMap&) = delete;
  /// Fills `map` with a copy. @return false when the cameras cannot be loaded; the next call tries again
  bool Get(std::map<int, Camera>& map);

 private:
  int zr_id_;
  MAP_KEY_TYPE key_type_;
  bool loaded_ = false;
  std::map<int, Camera> cameras_;
  std::unique_ptr<qv::analytics::TakenRows> taken_rows_;
};
