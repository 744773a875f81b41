#include "schema/versions.h"

namespace qv::schema {

const char* const kVersion1 = R"sql(
-- Values by name of the host as a whole.
CREATE TABLE setting (
  id INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT NOT NULL DEFAULT '', text TEXT NOT NULL DEFAULT '');

-- The slaves. id is the number that the host gave the slave.
CREATE TABLE server (
  id INTEGER PRIMARY KEY AUTOINCREMENT, model TEXT NOT NULL DEFAULT '', status INTEGER NOT NULL DEFAULT 0,
  pkg_status INTEGER NOT NULL DEFAULT 0, vol_status INTEGER NOT NULL DEFAULT 0,
  cam_count INTEGER NOT NULL DEFAULT 0, iomodule_count INTEGER NOT NULL DEFAULT 0,
  trans_dev_count INTEGER NOT NULL DEFAULT 0, speaker_dev_count INTEGER NOT NULL DEFAULT 0,
  acs_door_count INTEGER NOT NULL DEFAULT 0, vol_space REAL NOT NULL DEFAULT 0, is_beta INTEGER NOT NULL DEFAULT 0,
  cms_locked INTEGER NOT NULL DEFAULT 0, cms_masked INTEGER NOT NULL DEFAULT 0, has_aac INTEGER NOT NULL DEFAULT 0,
  has_hevc INTEGER NOT NULL DEFAULT 0, oru_pkg_status INTEGER NOT NULL DEFAULT 0,
  rec_encrypt_enabled INTEGER NOT NULL DEFAULT 0, login_error INTEGER NOT NULL DEFAULT 0,
  cookie TEXT NOT NULL DEFAULT '', serial_num TEXT NOT NULL DEFAULT '', tarn_version TEXT NOT NULL DEFAULT '',
  qv_version TEXT NOT NULL DEFAULT '', dp_version TEXT NOT NULL DEFAULT '',
  recover_progress INTEGER NOT NULL DEFAULT 0, last_report TEXT NOT NULL DEFAULT '');

-- The outbox: what is still to be delivered, in order of id.
CREATE TABLE message (
  id INTEGER PRIMARY KEY AUTOINCREMENT, zr_id INTEGER NOT NULL DEFAULT 0, target TEXT NOT NULL DEFAULT '',
  command TEXT NOT NULL DEFAULT '', payload TEXT NOT NULL DEFAULT '');
CREATE INDEX message_by_zr_id ON message (zr_id);

-- Devices. owner_zr_id is the slave, id_on_rec_server the device's id on that slave. A device of the host itself has
-- owner 0.
CREATE TABLE camera (
  id INTEGER PRIMARY KEY AUTOINCREMENT, id_on_rec_server INTEGER NOT NULL DEFAULT 0,
  owner_zr_id INTEGER NOT NULL DEFAULT 0, name TEXT NOT NULL DEFAULT '', enabled INTEGER NOT NULL DEFAULT 1,
  vendor TEXT NOT NULL DEFAULT '', model TEXT NOT NULL DEFAULT '', firmware_version TEXT NOT NULL DEFAULT '',
  mac_address TEXT NOT NULL DEFAULT '', host TEXT NOT NULL DEFAULT '', port INTEGER NOT NULL DEFAULT 80,
  use_https INTEGER NOT NULL DEFAULT 0, rtsp_port INTEGER NOT NULL DEFAULT 554, rtsp_path TEXT NOT NULL DEFAULT '',
  username TEXT NOT NULL DEFAULT '', password TEXT NOT NULL DEFAULT '', channel INTEGER NOT NULL DEFAULT 1,
  video_codec TEXT NOT NULL DEFAULT '', resolution TEXT NOT NULL DEFAULT '', frame_rate INTEGER NOT NULL DEFAULT 0,
  bit_rate INTEGER NOT NULL DEFAULT 0, quality INTEGER NOT NULL DEFAULT 0,
  stream_profile1 TEXT NOT NULL DEFAULT '', stream_profile2 TEXT NOT NULL DEFAULT '',
  stream_profile3 TEXT NOT NULL DEFAULT '', live_profile INTEGER NOT NULL DEFAULT 0,
  recording_profile INTEGER NOT NULL DEFAULT 0, mobile_profile INTEGER NOT NULL DEFAULT 0,
  recording_schedule TEXT NOT NULL DEFAULT '', retention_days INTEGER NOT NULL DEFAULT 0,
  retention_size INTEGER NOT NULL DEFAULT 0, pre_recording INTEGER NOT NULL DEFAULT 0,
  post_recording INTEGER NOT NULL DEFAULT 0, audio_enabled INTEGER NOT NULL DEFAULT 0,
  audio_codec TEXT NOT NULL DEFAULT '', ptz_capability INTEGER NOT NULL DEFAULT 0,
  motion_source INTEGER NOT NULL DEFAULT 0, motion_sensitivity INTEGER NOT NULL DEFAULT 0,
  motion_regions TEXT NOT NULL DEFAULT '', motion_event_type INTEGER NOT NULL DEFAULT 0,
  tampering_event_type INTEGER NOT NULL DEFAULT 0, audio_event_type INTEGER NOT NULL DEFAULT 0,
  disconnect_event_type INTEGER NOT NULL DEFAULT 0, time_zone TEXT NOT NULL DEFAULT '',
  note TEXT NOT NULL DEFAULT '', status INTEGER NOT NULL DEFAULT 0, device_status_flags INTEGER NOT NULL DEFAULT 0,
  extra TEXT NOT NULL DEFAULT '');
CREATE INDEX camera_by_owner_zr_id ON camera (owner_zr_id);
CREATE TABLE edge_storage_settings (
  id INTEGER PRIMARY KEY AUTOINCREMENT, owner_zr_id INTEGER NOT NULL DEFAULT 0,
  camera_id INTEGER REFERENCES camera(id) ON DELETE CASCADE, enabled INTEGER NOT NULL DEFAULT 0,
  recording_mode INTEGER NOT NULL DEFAULT 0, schedule TEXT NOT NULL DEFAULT '',
  stream_profile INTEGER NOT NULL DEFAULT 0, retention_days INTEGER NOT NULL DEFAULT 0,
  storage_type TEXT NOT NULL DEFAULT '', size INTEGER NOT NULL DEFAULT 0, format TEXT NOT NULL DEFAULT '',
  file_system TEXT NOT NULL DEFAULT '', overwrite INTEGER NOT NULL DEFAULT 1,
  pre_recording INTEGER NOT NULL DEFAULT 0, post_recording INTEGER NOT NULL DEFAULT 0,
  retrieve_gaps INTEGER NOT NULL DEFAULT 1, encryption_password TEXT NOT NULL DEFAULT '',
  status INTEGER NOT NULL DEFAULT 0, extra TEXT NOT NULL DEFAULT '');
CREATE INDEX edge_storage_settings_by_owner_zr_id ON edge_storage_settings (owner_zr_id);
CREATE INDEX edge_storage_settings_by_camera_id ON edge_storage_settings (camera_id);

-- Files of camera capabilities. owner_zr_id is 0 for a file that slaves share.
CREATE TABLE capability_file (
  id INTEGER PRIMARY KEY AUTOINCREMENT, owner_zr_id INTEGER NOT NULL DEFAULT 0, path TEXT NOT NULL DEFAULT '',
  vendor TEXT NOT NULL DEFAULT '', model TEXT NOT NULL DEFAULT '');
CREATE INDEX capability_file_by_owner_zr_id ON capability_file (owner_zr_id);
CREATE TABLE iomodule (
  id INTEGER PRIMARY KEY AUTOINCREMENT, id_on_rec_server INTEGER NOT NULL DEFAULT 0,
  owner_zr_id INTEGER NOT NULL DEFAULT 0, name TEXT NOT NULL DEFAULT '', enabled INTEGER NOT NULL DEFAULT 1,
  vendor TEXT NOT NULL DEFAULT '', model TEXT NOT NULL DEFAULT '', firmware_version TEXT NOT NULL DEFAULT '',
  mac_address TEXT NOT NULL DEFAULT '', serial_number TEXT NOT NULL DEFAULT '', host TEXT NOT NULL DEFAULT '',
  port INTEGER NOT NULL DEFAULT 80, use_https INTEGER NOT NULL DEFAULT 0, username TEXT NOT NULL DEFAULT '',
  password TEXT NOT NULL DEFAULT '', input_count INTEGER NOT NULL DEFAULT 0,
  output_count INTEGER NOT NULL DEFAULT 0, input_ports TEXT NOT NULL DEFAULT '',
  output_ports TEXT NOT NULL DEFAULT '', time_zone TEXT NOT NULL DEFAULT '', location TEXT NOT NULL DEFAULT '',
  note TEXT NOT NULL DEFAULT '', status_on_rec_server INTEGER NOT NULL DEFAULT 0,
  device_status_flags INTEGER NOT NULL DEFAULT 0, extra TEXT NOT NULL DEFAULT '');
CREATE INDEX iomodule_by_owner_zr_id ON iomodule (owner_zr_id);
CREATE TABLE pos (
  id INTEGER PRIMARY KEY AUTOINCREMENT, id_on_rec_server INTEGER NOT NULL DEFAULT 0,
  owner_zr_id INTEGER NOT NULL DEFAULT 0, name TEXT NOT NULL DEFAULT '', enabled INTEGER NOT NULL DEFAULT 1,
  vendor TEXT NOT NULL DEFAULT '', model TEXT NOT NULL DEFAULT '', connection_type INTEGER NOT NULL DEFAULT 0,
  host TEXT NOT NULL DEFAULT '', port INTEGER NOT NULL DEFAULT 0, baud_rate INTEGER NOT NULL DEFAULT 9600,
  username TEXT NOT NULL DEFAULT '', password TEXT NOT NULL DEFAULT '', encoding TEXT NOT NULL DEFAULT '',
  transaction_start TEXT NOT NULL DEFAULT '', transaction_end TEXT NOT NULL DEFAULT '',
  transaction_timeout INTEGER NOT NULL DEFAULT 30, paired_cameras TEXT NOT NULL DEFAULT '',
  overlay_enabled INTEGER NOT NULL DEFAULT 0, overlay_position INTEGER NOT NULL DEFAULT 0,
  overlay_font_size INTEGER NOT NULL DEFAULT 0, overlay_font_color TEXT NOT NULL DEFAULT '',
  overlay_background TEXT NOT NULL DEFAULT '', overlay_duration INTEGER NOT NULL DEFAULT 10,
  record_transactions INTEGER NOT NULL DEFAULT 1, retention_days INTEGER NOT NULL DEFAULT 0,
  time_zone TEXT NOT NULL DEFAULT '', note TEXT NOT NULL DEFAULT '', status INTEGER NOT NULL DEFAULT 0,
  device_status_flags INTEGER NOT NULL DEFAULT 0, extra TEXT NOT NULL DEFAULT '');
CREATE INDEX pos_by_owner_zr_id ON pos (owner_zr_id);
CREATE TABLE pos_text_rule (
  id INTEGER PRIMARY KEY AUTOINCREMENT, pos_id INTEGER REFERENCES pos(id) ON DELETE CASCADE,
  position INTEGER NOT NULL DEFAULT 0, type INTEGER NOT NULL DEFAULT 0, pattern TEXT NOT NULL DEFAULT '',
  value TEXT NOT NULL DEFAULT '');
CREATE INDEX pos_text_rule_by_pos_id ON pos_text_rule (pos_id);
CREATE TABLE ipspeaker (
  id INTEGER PRIMARY KEY AUTOINCREMENT, id_on_rec_server INTEGER NOT NULL DEFAULT 0,
  owner_zr_id INTEGER NOT NULL DEFAULT 0, name TEXT NOT NULL DEFAULT '', enabled INTEGER NOT NULL DEFAULT 1,
  vendor TEXT NOT NULL DEFAULT '', model TEXT NOT NULL DEFAULT '', firmware_version TEXT NOT NULL DEFAULT '',
  mac_address TEXT NOT NULL DEFAULT '', host TEXT NOT NULL DEFAULT '', port INTEGER NOT NULL DEFAULT 80,
  use_https INTEGER NOT NULL DEFAULT 0, username TEXT NOT NULL DEFAULT '', password TEXT NOT NULL DEFAULT '',
  audio_codec TEXT NOT NULL DEFAULT '', sample_rate INTEGER NOT NULL DEFAULT 0, volume INTEGER NOT NULL DEFAULT 50,
  muted INTEGER NOT NULL DEFAULT 0, multicast_enabled INTEGER NOT NULL DEFAULT 0,
  multicast_address TEXT NOT NULL DEFAULT '', multicast_port INTEGER NOT NULL DEFAULT 0,
  speaker_groups TEXT NOT NULL DEFAULT '', paired_cameras TEXT NOT NULL DEFAULT '',
  audio_clips TEXT NOT NULL DEFAULT '', schedule TEXT NOT NULL DEFAULT '', sip_enabled INTEGER NOT NULL DEFAULT 0,
  sip_server TEXT NOT NULL DEFAULT '', sip_account TEXT NOT NULL DEFAULT '', time_zone TEXT NOT NULL DEFAULT '',
  note TEXT NOT NULL DEFAULT '', status_on_rec_server INTEGER NOT NULL DEFAULT 0,
  device_status_flags INTEGER NOT NULL DEFAULT 0, extra TEXT NOT NULL DEFAULT '');
CREATE INDEX ipspeaker_by_owner_zr_id ON ipspeaker (owner_zr_id);
CREATE TABLE axis_acs_ctrler (
  id INTEGER PRIMARY KEY AUTOINCREMENT, id_on_rec_server INTEGER NOT NULL DEFAULT 0,
  owner_zr_id INTEGER NOT NULL DEFAULT 0, name TEXT NOT NULL DEFAULT '', enabled INTEGER NOT NULL DEFAULT 1,
  model TEXT NOT NULL DEFAULT '', firmware_version TEXT NOT NULL DEFAULT '',
  serial_number TEXT NOT NULL DEFAULT '', mac_addr TEXT NOT NULL DEFAULT '', host TEXT NOT NULL DEFAULT '',
  port INTEGER NOT NULL DEFAULT 80, use_https INTEGER NOT NULL DEFAULT 0, username TEXT NOT NULL DEFAULT '',
  password TEXT NOT NULL DEFAULT '', time_zone TEXT NOT NULL DEFAULT '',
  log_retention_days INTEGER NOT NULL DEFAULT 0, note TEXT NOT NULL DEFAULT '', status INTEGER NOT NULL DEFAULT 0,
  device_status_flags INTEGER NOT NULL DEFAULT 0, extra TEXT NOT NULL DEFAULT '');
CREATE INDEX axis_acs_ctrler_by_owner_zr_id ON axis_acs_ctrler (owner_zr_id);
CREATE TABLE axis_door (
  id INTEGER PRIMARY KEY AUTOINCREMENT, id_on_rec_server INTEGER NOT NULL DEFAULT 0,
  owner_zr_id INTEGER NOT NULL DEFAULT 0, ctrler_id INTEGER REFERENCES axis_acs_ctrler(id) ON DELETE CASCADE,
  name TEXT NOT NULL DEFAULT '', enabled INTEGER NOT NULL DEFAULT 1,
  cam_id INTEGER REFERENCES camera(id) ON DELETE SET NULL, cam_zr_id INTEGER NOT NULL DEFAULT 0,
  lock_type INTEGER NOT NULL DEFAULT 0, access_time INTEGER NOT NULL DEFAULT 0,
  long_access_time INTEGER NOT NULL DEFAULT 0, lock_settings TEXT NOT NULL DEFAULT '',
  reader_settings TEXT NOT NULL DEFAULT '', unlock_schedule TEXT NOT NULL DEFAULT '',
  layout_position INTEGER NOT NULL DEFAULT 0, status INTEGER NOT NULL DEFAULT 0, extra TEXT NOT NULL DEFAULT '');
CREATE INDEX axis_door_by_owner_zr_id ON axis_door (owner_zr_id);
CREATE INDEX axis_door_by_ctrler_id ON axis_door (ctrler_id);
CREATE INDEX axis_door_by_cam_id ON axis_door (cam_id);

-- Sections of a snapshot that the host keeps as they came, tied to the devices that they are about.
CREATE TABLE camera_detection_setting (
  id INTEGER PRIMARY KEY AUTOINCREMENT, id_on_rec_server INTEGER NOT NULL DEFAULT 0,
  owner_zr_id INTEGER NOT NULL DEFAULT 0, camera_id INTEGER REFERENCES camera(id) ON DELETE CASCADE,
  pos_id INTEGER REFERENCES pos(id) ON DELETE CASCADE, settings TEXT NOT NULL DEFAULT '',
  iomodule_id INTEGER REFERENCES iomodule(id) ON DELETE CASCADE);
CREATE INDEX camera_detection_setting_by_owner_zr_id ON camera_detection_setting (owner_zr_id);
CREATE INDEX camera_detection_setting_by_camera_id ON camera_detection_setting (camera_id);
CREATE INDEX camera_detection_setting_by_pos_id ON camera_detection_setting (pos_id);
CREATE INDEX camera_detection_setting_by_iomodule_id ON camera_detection_setting (iomodule_id);
CREATE TABLE camera_device_output (
  id INTEGER PRIMARY KEY AUTOINCREMENT, id_on_rec_server INTEGER NOT NULL DEFAULT 0,
  owner_zr_id INTEGER NOT NULL DEFAULT 0, camera_id INTEGER REFERENCES camera(id) ON DELETE CASCADE,
  pos_id INTEGER REFERENCES pos(id) ON DELETE CASCADE, settings TEXT NOT NULL DEFAULT '',
  iomodule_id INTEGER REFERENCES iomodule(id) ON DELETE CASCADE);
CREATE INDEX camera_device_output_by_owner_zr_id ON camera_device_output (owner_zr_id);
CREATE INDEX camera_device_output_by_camera_id ON camera_device_output (camera_id);
CREATE INDEX camera_device_output_by_pos_id ON camera_device_output (pos_id);
CREATE INDEX camera_device_output_by_iomodule_id ON camera_device_output (iomodule_id);
CREATE TABLE rec_share (
  id INTEGER PRIMARY KEY AUTOINCREMENT, id_on_rec_server INTEGER NOT NULL DEFAULT 0,
  owner_zr_id INTEGER NOT NULL DEFAULT 0, camera_id INTEGER REFERENCES camera(id) ON DELETE CASCADE,
  pos_id INTEGER REFERENCES pos(id) ON DELETE CASCADE, settings TEXT NOT NULL DEFAULT '',
  iomodule_id INTEGER REFERENCES iomodule(id) ON DELETE CASCADE);
CREATE INDEX rec_share_by_owner_zr_id ON rec_share (owner_zr_id);
CREATE INDEX rec_share_by_camera_id ON rec_share (camera_id);
CREATE INDEX rec_share_by_pos_id ON rec_share (pos_id);
CREATE INDEX rec_share_by_iomodule_id ON rec_share (iomodule_id);
CREATE TABLE ctrler_action_rule (
  id INTEGER PRIMARY KEY AUTOINCREMENT, id_on_rec_server INTEGER NOT NULL DEFAULT 0,
  owner_zr_id INTEGER NOT NULL DEFAULT 0, camera_id INTEGER REFERENCES camera(id) ON DELETE CASCADE,
  pos_id INTEGER REFERENCES pos(id) ON DELETE CASCADE, settings TEXT NOT NULL DEFAULT '',
  iomodule_id INTEGER REFERENCES iomodule(id) ON DELETE CASCADE);
CREATE INDEX ctrler_action_rule_by_owner_zr_id ON ctrler_action_rule (owner_zr_id);
CREATE INDEX ctrler_action_rule_by_camera_id ON ctrler_action_rule (camera_id);
CREATE INDEX ctrler_action_rule_by_pos_id ON ctrler_action_rule (pos_id);
CREATE INDEX ctrler_action_rule_by_iomodule_id ON ctrler_action_rule (iomodule_id);
CREATE TABLE iomodule_setting (
  id INTEGER PRIMARY KEY AUTOINCREMENT, id_on_rec_server INTEGER NOT NULL DEFAULT 0,
  owner_zr_id INTEGER NOT NULL DEFAULT 0, camera_id INTEGER REFERENCES camera(id) ON DELETE CASCADE,
  pos_id INTEGER REFERENCES pos(id) ON DELETE CASCADE, settings TEXT NOT NULL DEFAULT '',
  iomodule_id INTEGER REFERENCES iomodule(id) ON DELETE CASCADE);
CREATE INDEX iomodule_setting_by_owner_zr_id ON iomodule_setting (owner_zr_id);
CREATE INDEX iomodule_setting_by_camera_id ON iomodule_setting (camera_id);
CREATE INDEX iomodule_setting_by_pos_id ON iomodule_setting (pos_id);
CREATE INDEX iomodule_setting_by_iomodule_id ON iomodule_setting (iomodule_id);
CREATE TABLE iomodule_cam_pairing (
  id INTEGER PRIMARY KEY AUTOINCREMENT, id_on_rec_server INTEGER NOT NULL DEFAULT 0,
  owner_zr_id INTEGER NOT NULL DEFAULT 0, camera_id INTEGER REFERENCES camera(id) ON DELETE CASCADE,
  pos_id INTEGER REFERENCES pos(id) ON DELETE CASCADE, settings TEXT NOT NULL DEFAULT '',
  iomodule_id INTEGER REFERENCES iomodule(id) ON DELETE CASCADE);
CREATE INDEX iomodule_cam_pairing_by_owner_zr_id ON iomodule_cam_pairing (owner_zr_id);
CREATE INDEX iomodule_cam_pairing_by_camera_id ON iomodule_cam_pairing (camera_id);
CREATE INDEX iomodule_cam_pairing_by_pos_id ON iomodule_cam_pairing (pos_id);
CREATE INDEX iomodule_cam_pairing_by_iomodule_id ON iomodule_cam_pairing (iomodule_id);
CREATE TABLE pos_event_conf (
  id INTEGER PRIMARY KEY AUTOINCREMENT, id_on_rec_server INTEGER NOT NULL DEFAULT 0,
  owner_zr_id INTEGER NOT NULL DEFAULT 0, camera_id INTEGER REFERENCES camera(id) ON DELETE CASCADE,
  pos_id INTEGER REFERENCES pos(id) ON DELETE CASCADE, settings TEXT NOT NULL DEFAULT '',
  iomodule_id INTEGER REFERENCES iomodule(id) ON DELETE CASCADE);
CREATE INDEX pos_event_conf_by_owner_zr_id ON pos_event_conf (owner_zr_id);
CREATE INDEX pos_event_conf_by_camera_id ON pos_event_conf (camera_id);
CREATE INDEX pos_event_conf_by_pos_id ON pos_event_conf (pos_id);
CREATE INDEX pos_event_conf_by_iomodule_id ON pos_event_conf (iomodule_id);

-- What other services of the host keep about slaves and their devices. They write these rows.
CREATE TABLE emap_item (
  id INTEGER PRIMARY KEY AUTOINCREMENT, emap_id INTEGER NOT NULL DEFAULT 0, position_x INTEGER NOT NULL DEFAULT 0,
  position_y INTEGER NOT NULL DEFAULT 0, camera_id INTEGER REFERENCES camera(id) ON DELETE CASCADE,
  pos_id INTEGER REFERENCES pos(id) ON DELETE CASCADE,
  speaker_id INTEGER REFERENCES ipspeaker(id) ON DELETE CASCADE,
  iomodule_id INTEGER REFERENCES iomodule(id) ON DELETE CASCADE,
  door_id INTEGER REFERENCES axis_door(id) ON DELETE CASCADE);
CREATE INDEX emap_item_by_camera_id ON emap_item (camera_id);
CREATE INDEX emap_item_by_pos_id ON emap_item (pos_id);
CREATE INDEX emap_item_by_speaker_id ON emap_item (speaker_id);
CREATE INDEX emap_item_by_iomodule_id ON emap_item (iomodule_id);
CREATE INDEX emap_item_by_door_id ON emap_item (door_id);
CREATE TABLE privilege_profile_server (
  id INTEGER PRIMARY KEY AUTOINCREMENT, profile_id INTEGER NOT NULL DEFAULT 0,
  zr_id INTEGER REFERENCES server(id) ON DELETE CASCADE);
CREATE INDEX privilege_profile_server_by_zr_id ON privilege_profile_server (zr_id);
CREATE TABLE camera_migration (
  id INTEGER PRIMARY KEY AUTOINCREMENT, source_zr_id INTEGER NOT NULL DEFAULT 0,
  destination_zr_id INTEGER NOT NULL DEFAULT 0, camera_id INTEGER REFERENCES camera(id) ON DELETE CASCADE,
  progress INTEGER NOT NULL DEFAULT 0);
CREATE INDEX camera_migration_by_source_zr_id ON camera_migration (source_zr_id);
CREATE INDEX camera_migration_by_destination_zr_id ON camera_migration (destination_zr_id);
CREATE INDEX camera_migration_by_camera_id ON camera_migration (camera_id);
CREATE TABLE event_mount (
  id INTEGER PRIMARY KEY AUTOINCREMENT, zr_id INTEGER NOT NULL DEFAULT 0,
  camera_id INTEGER REFERENCES camera(id) ON DELETE SET NULL, name TEXT NOT NULL DEFAULT '',
  path TEXT NOT NULL DEFAULT '');
CREATE INDEX event_mount_by_zr_id ON event_mount (zr_id);
CREATE INDEX event_mount_by_camera_id ON event_mount (camera_id);
CREATE TABLE event_export (
  id INTEGER PRIMARY KEY AUTOINCREMENT, zr_id INTEGER NOT NULL DEFAULT 0,
  camera_id INTEGER REFERENCES camera(id) ON DELETE SET NULL, name TEXT NOT NULL DEFAULT '',
  start_time INTEGER NOT NULL DEFAULT 0, end_time INTEGER NOT NULL DEFAULT 0,
  destination TEXT NOT NULL DEFAULT '');
CREATE INDEX event_export_by_zr_id ON event_export (zr_id);
CREATE INDEX event_export_by_camera_id ON event_export (camera_id);
CREATE TABLE door_layout_item (
  id INTEGER PRIMARY KEY AUTOINCREMENT, layout_id INTEGER NOT NULL DEFAULT 0, position INTEGER NOT NULL DEFAULT 0,
  zr_id INTEGER NOT NULL DEFAULT 0, door_id INTEGER REFERENCES axis_door(id) ON DELETE SET NULL,
  title TEXT NOT NULL DEFAULT '');
CREATE INDEX door_layout_item_by_zr_id ON door_layout_item (zr_id);
CREATE INDEX door_layout_item_by_door_id ON door_layout_item (door_id);
CREATE TABLE layout_item (
  id INTEGER PRIMARY KEY AUTOINCREMENT, layout_id INTEGER NOT NULL DEFAULT 0, position INTEGER NOT NULL DEFAULT 0,
  stream_profile INTEGER NOT NULL DEFAULT 0, camera_id INTEGER REFERENCES camera(id) ON DELETE CASCADE);
CREATE INDEX layout_item_by_camera_id ON layout_item (camera_id);
CREATE TABLE camera_group_member (
  id INTEGER PRIMARY KEY AUTOINCREMENT, group_id INTEGER NOT NULL DEFAULT 0, position INTEGER NOT NULL DEFAULT 0,
  camera_id INTEGER REFERENCES camera(id) ON DELETE CASCADE);
CREATE INDEX camera_group_member_by_camera_id ON camera_group_member (camera_id);

-- Analytics. extra holds reported members that have no column, as one JSON object.
CREATE TABLE iva_task (
  id INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT NOT NULL DEFAULT '',
  camera_id INTEGER REFERENCES camera(id) ON DELETE CASCADE, owner_zr_id INTEGER NOT NULL DEFAULT 0,
  id_on_rec_server INTEGER NOT NULL DEFAULT 0, enable INTEGER NOT NULL DEFAULT 0, type INTEGER NOT NULL DEFAULT 0,
  cam_profile INTEGER NOT NULL DEFAULT 0, sensitivity INTEGER NOT NULL DEFAULT 0,
  analyze_frequency INTEGER NOT NULL DEFAULT 0, notify_frequency INTEGER NOT NULL DEFAULT 0,
  confidence REAL NOT NULL DEFAULT 0, day_night_filter INTEGER NOT NULL DEFAULT 0,
  region_type INTEGER NOT NULL DEFAULT 0, object_size_option INTEGER NOT NULL DEFAULT 0,
  object_min_width REAL NOT NULL DEFAULT 0, object_min_height REAL NOT NULL DEFAULT 0,
  object_max_width REAL NOT NULL DEFAULT 0, object_max_height REAL NOT NULL DEFAULT 0,
  display_info INTEGER NOT NULL DEFAULT 0, display_position INTEGER NOT NULL DEFAULT 0,
  display_font_size INTEGER NOT NULL DEFAULT 0, display_region INTEGER NOT NULL DEFAULT 0,
  display_object_box INTEGER NOT NULL DEFAULT 0, display_trajectory INTEGER NOT NULL DEFAULT 0,
  dwell_time INTEGER NOT NULL DEFAULT 0, trigger_interval INTEGER NOT NULL DEFAULT 0,
  object_number_threshold INTEGER NOT NULL DEFAULT 0, detect_people INTEGER NOT NULL DEFAULT 0,
  detect_vehicle INTEGER NOT NULL DEFAULT 0, detect_region TEXT NOT NULL DEFAULT '',
  exclude_region TEXT NOT NULL DEFAULT '', detect_animal INTEGER NOT NULL DEFAULT 0,
  detect_bicycle INTEGER NOT NULL DEFAULT 0, direction INTEGER NOT NULL DEFAULT 0,
  counting_reset_hour INTEGER NOT NULL DEFAULT 0, counting_reset_minute INTEGER NOT NULL DEFAULT 0,
  counting_capacity INTEGER NOT NULL DEFAULT 0, counting_capacity_warning INTEGER NOT NULL DEFAULT 0,
  object_min_real_height REAL NOT NULL DEFAULT 0, object_max_real_height REAL NOT NULL DEFAULT 0,
  camera_height REAL NOT NULL DEFAULT 0, camera_tilt REAL NOT NULL DEFAULT 0,
  shadow_filter INTEGER NOT NULL DEFAULT 0, fence TEXT NOT NULL DEFAULT '', schedule TEXT NOT NULL DEFAULT '',
  object_classes TEXT NOT NULL DEFAULT '', notify_message TEXT NOT NULL DEFAULT '',
  display_color TEXT NOT NULL DEFAULT '', record_event INTEGER NOT NULL DEFAULT 0,
  pre_recording INTEGER NOT NULL DEFAULT 0, post_recording INTEGER NOT NULL DEFAULT 0,
  notify_enable INTEGER NOT NULL DEFAULT 0, notify_mobile INTEGER NOT NULL DEFAULT 0,
  alert_level INTEGER NOT NULL DEFAULT 0, extra TEXT NOT NULL DEFAULT '',
  camera_shake_filter INTEGER NOT NULL DEFAULT 0, static_object_filter INTEGER NOT NULL DEFAULT 0,
  object_min_speed REAL NOT NULL DEFAULT 0, object_max_speed REAL NOT NULL DEFAULT 0,
  crowd_level INTEGER NOT NULL DEFAULT 0, background_learning_time INTEGER NOT NULL DEFAULT 0,
  left_object_time INTEGER NOT NULL DEFAULT 0, removed_object_time INTEGER NOT NULL DEFAULT 0,
  day_begin_minute INTEGER NOT NULL DEFAULT 0, day_end_minute INTEGER NOT NULL DEFAULT 0,
  night_sensitivity INTEGER NOT NULL DEFAULT 0, stream_frame_rate INTEGER NOT NULL DEFAULT 0,
  stream_width INTEGER NOT NULL DEFAULT 0, stream_height INTEGER NOT NULL DEFAULT 0,
  region_zoom REAL NOT NULL DEFAULT 0, retention_days INTEGER NOT NULL DEFAULT 0,
  snapshot_enable INTEGER NOT NULL DEFAULT 0, snapshot_quality INTEGER NOT NULL DEFAULT 0,
  metadata_enable INTEGER NOT NULL DEFAULT 0, metadata_retention_days INTEGER NOT NULL DEFAULT 0,
  engine_index INTEGER NOT NULL DEFAULT 0, priority INTEGER NOT NULL DEFAULT 0, version INTEGER NOT NULL DEFAULT 0,
  create_time INTEGER NOT NULL DEFAULT 0, update_time INTEGER NOT NULL DEFAULT 0);
CREATE INDEX iva_task_by_camera_id ON iva_task (camera_id);
CREATE INDEX iva_task_by_owner_zr_id ON iva_task (owner_zr_id);
CREATE TABLE face_task (
  id INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT NOT NULL DEFAULT '',
  camera_id INTEGER REFERENCES camera(id) ON DELETE CASCADE, owner_zr_id INTEGER NOT NULL DEFAULT 0,
  id_on_rec_server INTEGER NOT NULL DEFAULT 0, task_id INTEGER NOT NULL DEFAULT 0,
  enable INTEGER NOT NULL DEFAULT 0, cam_profile INTEGER NOT NULL DEFAULT 0,
  analyze_frequency INTEGER NOT NULL DEFAULT 0, region_type INTEGER NOT NULL DEFAULT 0,
  detect_region TEXT NOT NULL DEFAULT '', sensitivity INTEGER NOT NULL DEFAULT 0,
  confidence REAL NOT NULL DEFAULT 0, schedule TEXT NOT NULL DEFAULT '', display_info INTEGER NOT NULL DEFAULT 0,
  frame_display_info INTEGER NOT NULL DEFAULT 0, known_face_color INTEGER NOT NULL DEFAULT 0,
  unknown_face_color INTEGER NOT NULL DEFAULT 0, match_type INTEGER NOT NULL DEFAULT 0,
  name_rule INTEGER NOT NULL DEFAULT 0, face_min_width REAL NOT NULL DEFAULT 0,
  face_min_height REAL NOT NULL DEFAULT 0, notify_enable INTEGER NOT NULL DEFAULT 0,
  trigger_interval INTEGER NOT NULL DEFAULT 0, face_groups TEXT NOT NULL DEFAULT '',
  notify_message TEXT NOT NULL DEFAULT '', extra TEXT NOT NULL DEFAULT '',
  mask_detection INTEGER NOT NULL DEFAULT 0, liveness_check INTEGER NOT NULL DEFAULT 0,
  record_event INTEGER NOT NULL DEFAULT 0, retention_days INTEGER NOT NULL DEFAULT 0);
CREATE INDEX face_task_by_camera_id ON face_task (camera_id);
CREATE INDEX face_task_by_owner_zr_id ON face_task (owner_zr_id);
CREATE TABLE counting_widget (
  id INTEGER PRIMARY KEY AUTOINCREMENT, iva_setting_id INTEGER REFERENCES iva_task(id) ON DELETE CASCADE,
  id_on_rec_server INTEGER NOT NULL DEFAULT 0, name TEXT NOT NULL DEFAULT '', type INTEGER NOT NULL DEFAULT 0,
  detect_type INTEGER NOT NULL DEFAULT 0, calculation_type INTEGER NOT NULL DEFAULT 0,
  owner_zr_id INTEGER NOT NULL DEFAULT 0, capacity INTEGER NOT NULL DEFAULT 0, extra TEXT NOT NULL DEFAULT '');
CREATE INDEX counting_widget_by_iva_setting_id ON counting_widget (iva_setting_id);
CREATE INDEX counting_widget_by_owner_zr_id ON counting_widget (owner_zr_id);
CREATE TABLE counting_task_group (
  id INTEGER PRIMARY KEY AUTOINCREMENT, id_on_rec_server INTEGER NOT NULL DEFAULT 0,
  owner_zr_id INTEGER NOT NULL DEFAULT 0, name TEXT NOT NULL DEFAULT '', extra TEXT NOT NULL DEFAULT '');
CREATE INDEX counting_task_group_by_owner_zr_id ON counting_task_group (owner_zr_id);
CREATE TABLE counting_task_group_widget (
  id INTEGER PRIMARY KEY AUTOINCREMENT, group_id INTEGER REFERENCES counting_task_group(id) ON DELETE CASCADE,
  position INTEGER NOT NULL DEFAULT 0, widget_id INTEGER REFERENCES counting_widget(id) ON DELETE CASCADE);
CREATE INDEX counting_task_group_widget_by_group_id ON counting_task_group_widget (group_id);
CREATE INDEX counting_task_group_widget_by_widget_id ON counting_task_group_widget (widget_id);
)sql";

}  // namespace qv::schema
