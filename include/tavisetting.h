/// IVA tasks: object and behaviour analytics of one camera's picture, stored as rows of `iva_task`.
///
/// List tasks with `Enum`, write one with `InsertIntoDB`, remove one with `Delete`. A task takes its
/// counting widgets with it. When its camera is deleted, a slave's task stays without a camera until the slave's list
/// of tasks decides about it; a task of the host itself goes with the camera.
#pragma once

#include <json/value.h>

#include <array>
#include <list>
#include <string>
#include <vector>

#include "dbwrapper.h"
#include "qvoptional.h"
#include "tavicoresetting.h"
#include "tavienums.h"

#define TAVI_SETTING_COLUMNS(COLUMN)                                                                                   \
  COLUMN(TAVI_SETTING_ID, int, id, HostId)                                                                             \
  COLUMN(TAVI_SETTING_NAME, std::string, name, Config)                                                                 \
  COLUMN(TAVI_SETTING_CAMERA_ID, int, camera_id, Config, .references = "camera")                                       \
  COLUMN(TAVI_SETTING_OWNER_ZR_ID, int, owner_zr_id, Owner)                                                            \
  COLUMN(TAVI_SETTING_ID_ON_REC_SERVER, int, id_on_rec_server, IdOnSlave)                                              \
  COLUMN(TAVI_SETTING_ENABLE, bool, enable, Config)                                                                    \
  COLUMN(TAVI_SETTING_TYPE, TAVI_ANALYZE_TYPE, type, Config)                                                           \
  COLUMN(TAVI_SETTING_CAM_PROFILE, CAM_PROFILE_TYPE, cam_profile, Config)                                              \
  COLUMN(TAVI_SETTING_SENSITIVITY, TAVI_SENSE_LEVEL, sensitivity, Config)                                              \
  COLUMN(TAVI_SETTING_ANALYZE_FREQUENCY, TAVI_FREQUENCY, analyze_frequency, Config)                                    \
  COLUMN(TAVI_SETTING_NOTIFY_FREQUENCY, TAVI_FREQUENCY, notify_frequency, Config)                                      \
  COLUMN(TAVI_SETTING_CONFIDENCE, float, confidence, Config) /* least, 0 to 1 */                                       \
  COLUMN(TAVI_SETTING_DAY_NIGHT_FILTER, TAVI_DAY_NIGHT_FILTER_MODE, day_night_filter, Config)                          \
  COLUMN(TAVI_SETTING_REGION_TYPE, REGION_TYPE, region_type, Config)                                                   \
  COLUMN(TAVI_SETTING_OBJECT_SIZE_OPTION, OBJ_SIZE_OPTION, object_size_option, Config)                                 \
  COLUMN(TAVI_SETTING_OBJECT_MIN_WIDTH, float, object_min_width, Config) /* sizes: part of the picture, 0 to 1, ... */ \
  COLUMN(TAVI_SETTING_OBJECT_MIN_HEIGHT, float, object_min_height, Config)                                             \
  COLUMN(TAVI_SETTING_OBJECT_MAX_WIDTH, float, object_max_width, Config)                                               \
  COLUMN(TAVI_SETTING_OBJECT_MAX_HEIGHT, float, object_max_height, Config)                                             \
  COLUMN(TAVI_SETTING_DISPLAY_INFO, TAVI_DISPLAY_INFO, display_info, Config)                                           \
  COLUMN(TAVI_SETTING_DISPLAY_POSITION, TAVI_DISPLAY_POS, display_position, Config)                                    \
  COLUMN(TAVI_SETTING_DISPLAY_FONT_SIZE, int, display_font_size, Config)                                               \
  COLUMN(TAVI_SETTING_DISPLAY_REGION, bool, display_region, Config)                                                    \
  COLUMN(TAVI_SETTING_DISPLAY_OBJECT_BOX, bool, display_object_box, Config)                                            \
  COLUMN(TAVI_SETTING_DISPLAY_TRAJECTORY, bool, display_trajectory, Config)                                            \
  COLUMN(TAVI_SETTING_DWELL_TIME, int, dwell_time, Config)             /* s */                                         \
  COLUMN(TAVI_SETTING_TRIGGER_INTERVAL, int, trigger_interval, Config) /* s */                                         \
  COLUMN(TAVI_SETTING_OBJECT_NUMBER_THRESHOLD, int, object_number_threshold, Config)                                   \
  COLUMN(TAVI_SETTING_DETECT_PEOPLE, bool, detect_people, Config)                                                      \
  COLUMN(TAVI_SETTING_DETECT_VEHICLE, bool, detect_vehicle, Config)                                                    \
  COLUMN(TAVI_SETTING_DETECT_REGION, std::string, detect_region, Config) /* polygons */                                \
  COLUMN(TAVI_SETTING_EXCLUDE_REGION, std::string, exclude_region, Config)                                             \
  COLUMN(TAVI_SETTING_DETECT_ANIMAL, bool, detect_animal, Config)                                                      \
  COLUMN(TAVI_SETTING_DETECT_BICYCLE, bool, detect_bicycle, Config)                                                    \
  COLUMN(TAVI_SETTING_DIRECTION, int, direction, Config) /* degrees; -1: any */                                        \
  COLUMN(TAVI_SETTING_COUNTING_RESET_HOUR, int, counting_reset_hour, Config)                                           \
  COLUMN(TAVI_SETTING_COUNTING_RESET_MINUTE, int, counting_reset_minute, Config)                                       \
  COLUMN(TAVI_SETTING_COUNTING_CAPACITY, int, counting_capacity, Config) /* 0: no limit */                             \
  COLUMN(TAVI_SETTING_COUNTING_CAPACITY_WARNING, bool, counting_capacity_warning, Config)                              \
  COLUMN(TAVI_SETTING_OBJECT_MIN_REAL_HEIGHT, float, object_min_real_height, Config) /* m */                           \
  COLUMN(TAVI_SETTING_OBJECT_MAX_REAL_HEIGHT, float, object_max_real_height, Config)                                   \
  COLUMN(TAVI_SETTING_CAMERA_HEIGHT, float, camera_height, Config) /* m above the floor */                             \
  COLUMN(TAVI_SETTING_CAMERA_TILT, float, camera_tilt, Config)     /* degrees */                                       \
  COLUMN(TAVI_SETTING_SHADOW_FILTER, bool, shadow_filter, Config)                                                      \
  COLUMN(TAVI_SETTING_FENCE, std::string, fence, Config)                   /* lines and their directions */            \
  COLUMN(TAVI_SETTING_SCHEDULE, std::string, schedule, Config)             /* a digit per half-hour of the week */     \
  COLUMN(TAVI_SETTING_OBJECT_CLASSES, std::string, object_classes, Config) /* joined by "," */                         \
  COLUMN(TAVI_SETTING_NOTIFY_MESSAGE, std::string, notify_message, Config)                                             \
  COLUMN(TAVI_SETTING_DISPLAY_COLOR, std::string, display_color, Config) /* #RRGGBB */                                 \
  COLUMN(TAVI_SETTING_RECORD_EVENT, bool, record_event, Config)                                                        \
  COLUMN(TAVI_SETTING_PRE_RECORDING, int, pre_recording, Config)   /* s */                                             \
  COLUMN(TAVI_SETTING_POST_RECORDING, int, post_recording, Config) /* s */                                             \
  COLUMN(TAVI_SETTING_NOTIFY_ENABLE, bool, notify_enable, Config)                                                      \
  COLUMN(TAVI_SETTING_NOTIFY_MOBILE, bool, notify_mobile, Config)                                                      \
  COLUMN(TAVI_SETTING_ALERT_LEVEL, int, alert_level, Config)                                                           \
  COLUMN(TAVI_SETTING_EXTRA, std::string, extra, Extra)                                                                \
  COLUMN(TAVI_SETTING_CAMERA_SHAKE_FILTER, bool, camera_shake_filter, Config)                                          \
  COLUMN(TAVI_SETTING_STATIC_OBJECT_FILTER, bool, static_object_filter, Config)                                        \
  COLUMN(TAVI_SETTING_OBJECT_MIN_SPEED, float, object_min_speed, Config) /* widths of the picture per s */             \
  COLUMN(TAVI_SETTING_OBJECT_MAX_SPEED, float, object_max_speed, Config)                                               \
  COLUMN(TAVI_SETTING_CROWD_LEVEL, TAVI_SENSE_LEVEL, crowd_level, Config)                                              \
  COLUMN(TAVI_SETTING_BACKGROUND_LEARNING_TIME, int, background_learning_time, Config) /* s */                         \
  COLUMN(TAVI_SETTING_LEFT_OBJECT_TIME, int, left_object_time, Config)                 /* s */                         \
  COLUMN(TAVI_SETTING_REMOVED_OBJECT_TIME, int, removed_object_time, Config)           /* s */                         \
  COLUMN(TAVI_SETTING_DAY_BEGIN_MINUTE, int, day_begin_minute, Config)                 /* of the day */                \
  COLUMN(TAVI_SETTING_DAY_END_MINUTE, int, day_end_minute, Config)                                                     \
  COLUMN(TAVI_SETTING_NIGHT_SENSITIVITY, TAVI_SENSE_LEVEL, night_sensitivity, Config)                                  \
  COLUMN(TAVI_SETTING_STREAM_FRAME_RATE, int, stream_frame_rate, Config) /* frames/s */                                \
  COLUMN(TAVI_SETTING_STREAM_WIDTH, int, stream_width, Config)           /* pixels */                                  \
  COLUMN(TAVI_SETTING_STREAM_HEIGHT, int, stream_height, Config)                                                       \
  COLUMN(TAVI_SETTING_REGION_ZOOM, float, region_zoom, Config)                                                         \
  COLUMN(TAVI_SETTING_RETENTION_DAYS, int, retention_days, Config) /* 0: no limit */                                   \
  COLUMN(TAVI_SETTING_SNAPSHOT_ENABLE, bool, snapshot_enable, Config)                                                  \
  COLUMN(TAVI_SETTING_SNAPSHOT_QUALITY, int, snapshot_quality, Config) /* percent */                                   \
  COLUMN(TAVI_SETTING_METADATA_ENABLE, bool, metadata_enable, Config)                                                  \
  COLUMN(TAVI_SETTING_METADATA_RETENTION_DAYS, int, metadata_retention_days, Config)                                   \
  COLUMN(TAVI_SETTING_ENGINE_INDEX, int, engine_index, Config)                                                         \
  COLUMN(TAVI_SETTING_PRIORITY, int, priority, Config)                                                                 \
  COLUMN(TAVI_SETTING_VERSION, int, version, Config)                                                                   \
  COLUMN(TAVI_SETTING_CREATE_TIME, int, create_time, Config) /* s since 1970 */                                        \
  COLUMN(TAVI_SETTING_UPDATE_TIME, int, update_time, Config)

DB_DECLARE_COLUMNS(TAVI_SETTING_DB_COLUMNS, TAVI_SETTING_COLUMNS)
static_assert(DBColumnsStand<TAVI_SETTING_DB_COLUMNS>(81, {1, 30, 31, 44, 45, 46, 47, 48, 55}));

template <>
const char DBWrapper<TAVI_SETTING_DB_COLUMNS>::m_szTableName[];

/// Which tasks are meant; a criterion that is unset admits every row.
struct IvaSettingFilterRule {
  Optional<std::vector<int>> ids;
  Optional<int> ownerZrId;
  Optional<int> idOnRecServer;
  Optional<std::vector<int>> cameraIds;
  Optional<TAVI_ANALYZE_TYPE> type;
  Optional<bool> enabled;
};

class TaviSetting : public DBWrapper<TAVI_SETTING_DB_COLUMNS>, public ITaviCoreSetting {
 public:
  bool IsStorable() const override;
  Json::Value ToJson(bool columnsOnly) const override;
  int GetId() const override { return Data().id.Get(); }
  /// The task's id on the server that it was copied from; of a task of the host itself, its own id.
  int GetIdOnRecServer() const;

  /// Loads the host's copy of a slave's task. @return 0 on success; -1 when there is none or it cannot be read
  int LoadByIdOnRecServer(int idOnRecServer, int ownerZrId);
  /// Deletes the row. @param mustExist  a row that is not there is a failure
  /// @return 0 on success, -1 on failure
  int Delete(bool mustExist) const;

  /// Lists tasks in order of their host ids. @return 0 on success, -1 on failure (the list is empty then)
  static int Enum(const IvaSettingFilterRule& rule, std::list<TaviSetting>& list);
  /// Writes the row that the JSON's "id" names, as a whole, or a new one when that is 0: a column whose key is absent
  /// or null gets its default, and what no column can hold as reported is kept beside the columns.
  /// @return 0 on success (also when nothing differs), -1 on failure
  static int InsertIntoDB(const Json::Value& json);
};

/// Names of the detections, by `TAVI_ANALYZE_TYPE`. Identifiers shared with the slaves, odd spelling included.
inline const std::array<std::string, 8> kTaviDetectionNames = {
    "object_tracking",
    "motion_detection",
    "non_idle_zone",
    "people_counting_wall_mount",
    "foreign_object",
    "missing_object",
    "people_counting_ceilling_mount",
    "object_detection",
};
