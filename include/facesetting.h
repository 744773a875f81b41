/// Face tasks: detection and recognition of faces in one camera's picture, stored as rows of `face_task`.
///
/// Used as IVA tasks are (tavisetting.h).
#pragma once

#include <json/value.h>

#include <list>
#include <string>
#include <vector>

#include "dbwrapper.h"
#include "qvoptional.h"
#include "tavicoresetting.h"
#include "tavienums.h"
#include "textruletype.h"

enum FACE_REGION_TYPE : int {
  FACE_REGION_TYPE_WHOLE_PICTURE = 0,
  FACE_REGION_TYPE_INSIDE = 1,
  FACE_REGION_TYPE_OUTSIDE = 2,
};

/// Bits: what is written beside a face.
enum FACE_DISPLAY_INFO : int {
  FACE_DISPLAY_INFO_NONE = 0,
  FACE_DISPLAY_INFO_NAME = 1,
  FACE_DISPLAY_INFO_GROUP = 2,
  FACE_DISPLAY_INFO_SIMILARITY = 4,
};

/// Which faces are framed.
enum FACE_FRAME_DISPLAY_INFO : int {
  FACE_FRAME_DISPLAY_INFO_NONE = 0,
  FACE_FRAME_DISPLAY_INFO_KNOWN = 1,
  FACE_FRAME_DISPLAY_INFO_UNKNOWN = 2,
  FACE_FRAME_DISPLAY_INFO_ALL = 3,
};

enum FACE_DISPLAY_COLOR : int {
  FACE_DISPLAY_COLOR_GREEN = 0,
  FACE_DISPLAY_COLOR_YELLOW = 1,
  FACE_DISPLAY_COLOR_RED = 2,
  FACE_DISPLAY_COLOR_BLUE = 3,
  FACE_DISPLAY_COLOR_WHITE = 4,
};

/// Which faces raise an event.
enum MATCH_TYPE : int {
  MATCH_TYPE_ALL = 0,
  MATCH_TYPE_KNOWN = 1,
  MATCH_TYPE_UNKNOWN = 2,
  MATCH_TYPE_GROUPS = 3,
};

#define FACE_SETTING_COLUMNS(COLUMN)                                                                   \
  COLUMN(FACE_SETTING_ID, int, id, HostId)                                                             \
  COLUMN(FACE_SETTING_NAME, std::string, name, Config)                                                 \
  COLUMN(FACE_SETTING_CAMERA_ID, int, camera_id, Config, .references = "camera")                       \
  COLUMN(FACE_SETTING_OWNER_ZR_ID, int, owner_zr_id, Owner)                                            \
  COLUMN(FACE_SETTING_ID_ON_REC_SERVER, int, id_on_rec_server, IdOnSlave)                              \
  COLUMN(FACE_SETTING_TASK_ID, int, task_id, HostOnly) /* of the host's own recognition engine */      \
  COLUMN(FACE_SETTING_ENABLE, bool, enable, Config)                                                    \
  COLUMN(FACE_SETTING_CAM_PROFILE, CAM_PROFILE_TYPE, cam_profile, Config)                              \
  COLUMN(FACE_SETTING_ANALYZE_FREQUENCY, TAVI_FREQUENCY, analyze_frequency, Config)                    \
  COLUMN(FACE_SETTING_REGION_TYPE, FACE_REGION_TYPE, region_type, Config)                              \
  COLUMN(FACE_SETTING_DETECT_REGION, std::string, detect_region, Config) /* polygon */                 \
  COLUMN(FACE_SETTING_SENSITIVITY, TAVI_SENSE_LEVEL, sensitivity, Config)                              \
  COLUMN(FACE_SETTING_CONFIDENCE, float, confidence, Config)   /* least, 0 to 1 */                     \
  COLUMN(FACE_SETTING_SCHEDULE, std::string, schedule, Config) /* a digit per half-hour of the week */ \
  COLUMN(FACE_SETTING_DISPLAY_INFO, FACE_DISPLAY_INFO, display_info, Config)                           \
  COLUMN(FACE_SETTING_FRAME_DISPLAY_INFO, FACE_FRAME_DISPLAY_INFO, frame_display_info, Config)         \
  COLUMN(FACE_SETTING_KNOWN_FACE_COLOR, FACE_DISPLAY_COLOR, known_face_color, Config)                  \
  COLUMN(FACE_SETTING_UNKNOWN_FACE_COLOR, FACE_DISPLAY_COLOR, unknown_face_color, Config)              \
  COLUMN(FACE_SETTING_MATCH_TYPE, MATCH_TYPE, match_type, Config)                                      \
  COLUMN(FACE_SETTING_NAME_RULE, TEXT_RULE_TYPE, name_rule, Config)  /* names shown in the picture */  \
  COLUMN(FACE_SETTING_FACE_MIN_WIDTH, float, face_min_width, Config) /* part of the picture, 0 to 1 */ \
  COLUMN(FACE_SETTING_FACE_MIN_HEIGHT, float, face_min_height, Config)                                 \
  COLUMN(FACE_SETTING_NOTIFY_ENABLE, bool, notify_enable, Config)                                      \
  COLUMN(FACE_SETTING_TRIGGER_INTERVAL, int, trigger_interval, Config) /* s */                         \
  COLUMN(FACE_SETTING_FACE_GROUPS, std::string, face_groups, Config)   /* ids joined by "," */         \
  COLUMN(FACE_SETTING_NOTIFY_MESSAGE, std::string, notify_message, Config)                             \
  COLUMN(FACE_SETTING_EXTRA, std::string, extra, Extra)                                                \
  COLUMN(FACE_SETTING_MASK_DETECTION, bool, mask_detection, Config)                                    \
  COLUMN(FACE_SETTING_LIVENESS_CHECK, bool, liveness_check, Config)                                    \
  COLUMN(FACE_SETTING_RECORD_EVENT, bool, record_event, Config)                                        \
  COLUMN(FACE_SETTING_RETENTION_DAYS, int, retention_days, Config) /* 0: no limit */

DB_DECLARE_COLUMNS(FACE_SETTING_DB_COLUMNS, FACE_SETTING_COLUMNS)
static_assert(DBColumnsStand<FACE_SETTING_DB_COLUMNS>(31, {1, 10, 13, 24, 25, 26}));

template <>
const char DBWrapper<FACE_SETTING_DB_COLUMNS>::m_szTableName[];

/// Which tasks are meant; a criterion that is unset admits every row.
struct FaceSettingFilterRule {
  Optional<std::vector<int>> ids;
  Optional<int> ownerZrId;
  Optional<int> idOnRecServer;
  Optional<std::vector<int>> cameraIds;
  Optional<bool> enabled;
};

class FaceSetting : public DBWrapper<FACE_SETTING_DB_COLUMNS>, public ITaviCoreSetting {
 public:
  bool IsStorable() const override;
  Json::Value ToJson(bool columnsOnly) const override;
  int GetId() const override { return Data().id.Get(); }
  /// The task's id on the server that it was copied from; of a task of the host itself, its own id.
  int GetIdOnRecServer() const;

  /// Deletes the row. @param mustExist  a row that is not there is a failure
  /// @return 0 on success, -1 on failure
  int Delete(bool mustExist) const;

  /// Lists tasks in order of their host ids. @return 0 on success, -1 on failure (the list is empty then)
  static int Enum(const FaceSettingFilterRule& rule, std::list<FaceSetting>& list);
  /// As `TaviSetting::InsertIntoDB`. The "task_id" of a new row that comes from a slave is not taken: it numbers a task
  /// of the slave's engine, and the host's engine has none for it yet.
  static int InsertIntoDB(const Json::Value& json);
};
