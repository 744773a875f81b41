/// Edge storage: recording to storage of the camera's own, which fills the gaps that a broken connection leaves.
///
/// An `EdgeStorage` is the host's row of one camera's settings. Read rows of `gszTableEdgeStorageSettings` with
/// `PutRowIntoObj`, compare one with what a slave reports (`IsCfgChged`), take that over (`SetByJson`), write it
/// (`Save`).
#pragma once

#include <json/value.h>

#include <string>

#include "camera.h"
#include "qvdb.h"
#include "taggedfield.h"

#define EDGE_STORAGE_FIELDS(FIELD)                                                                            \
  FIELD(EdgeStorageData, int, Id, "id", HostId)                                                               \
  FIELD(EdgeStorageData, int, OwnerZrId, "owner_zr_id", Owner)                                                \
  FIELD(EdgeStorageData, int, CamId, "camera_id", HostOnly, .references = "camera")                           \
  FIELD(EdgeStorageData, bool, Enabled, "enabled", Config)                                                    \
  FIELD(EdgeStorageData, int, RecordingMode, "recording_mode", Config) /* 0 on loss, 1 always, 2 on events */ \
  FIELD(EdgeStorageData, JsonText, Schedule, "schedule", Config)                                              \
  FIELD(EdgeStorageData, int, StreamProfile, "stream_profile", Config)     /* 0 to 2 */                       \
  FIELD(EdgeStorageData, int, RetentionDays, "retention_days", Config)     /* 0: no limit */                  \
  FIELD(EdgeStorageData, std::string, StorageType, "storage_type", Config) /* "sd", "nas" */                  \
  FIELD(EdgeStorageData, int, Size, "size", Config)                        /* MB */                           \
  FIELD(EdgeStorageData, std::string, Format, "format", Config)            /* container of the files */       \
  FIELD(EdgeStorageData, std::string, FileSystem, "file_system", Config)                                      \
  FIELD(EdgeStorageData, bool, Overwrite, "overwrite", Config, .default_int = 1) /* the oldest when full */   \
  FIELD(EdgeStorageData, int, PreRecording, "pre_recording", Config)             /* s */                      \
  FIELD(EdgeStorageData, int, PostRecording, "post_recording", Config)           /* s */                      \
  FIELD(EdgeStorageData, bool, RetrieveGaps, "retrieve_gaps", Config, .default_int = 1)                       \
  FIELD(EdgeStorageData, std::string, EncryptionPassword, "encryption_password", Secret)                      \
  FIELD(EdgeStorageData, int, Status, "status", Config)                                                       \
  FIELD(EdgeStorageData, JsonText, Extra, "extra", Extra)

QV_DECLARE_FIELDS(EdgeStorageData, EDGE_STORAGE_FIELDS)

/// The table of the rows, in the database `kDbInstanceMain`.
inline constexpr char gszTableEdgeStorageSettings[] = "edge_storage_settings";

class EdgeStorage : public TaggedRecord<EdgeStorageData::Fields> {
 public:
  /// Fills the record from a fetched row; a column that the row lacks gives a blank value.
  void PutRowIntoObj(DBResult_tag* result, unsigned row);
  /// @return non-zero when taking what the slave reports would change this row
  int IsCfgChged(const Json::Value& edge) const;
  /// Takes what the slave reports of a camera's edge storage, and makes the record that camera's. Members that are
  /// absent, null or of an impossible type keep their value.
  /// @return 0; -1 when `edge` is no object: only the camera is set
  int SetByJson(const Camera& camera, const Json::Value& edge);
  /// Writes the row; a new row is given its host id. @return 0 on success, -1 on failure or without a camera
  int Save();
};
