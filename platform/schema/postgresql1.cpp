#include "schema/versions.h"

namespace qv::schema {

// Texts sort by their bytes, as in the other database.
const char* const kPostgresqlVersion1 = R"sql(
-- Takes ids for new rows of a table. @return the first of them
CREATE FUNCTION take_ids(of_table TEXT, amount BIGINT) RETURNS BIGINT LANGUAGE plpgsql AS $$
DECLARE
  turn BIGINT := hashtextextended(current_schema() || of_table, 0);
  first BIGINT;
BEGIN
  PERFORM pg_advisory_lock(turn);
  first := nextval((of_table || '_id_seq')::regclass);
  PERFORM setval((of_table || '_id_seq')::regclass, first + amount - 1);
  PERFORM pg_advisory_unlock(turn);
  RETURN first;
END$$;
-- Gives ids back that no row has got, from the first to the last that was taken, unless others have been taken since.
CREATE FUNCTION give_back_ids(of_table TEXT, first BIGINT, last BIGINT) RETURNS VOID LANGUAGE plpgsql AS $$
DECLARE
  turn BIGINT := hashtextextended(current_schema() || of_table, 0);
BEGIN
  PERFORM pg_advisory_lock(turn);
  PERFORM setval(sequencename::regclass, first, false) FROM pg_sequences
    WHERE schemaname = current_schema() AND sequencename = of_table || '_id_seq' AND last_value = last;
  PERFORM pg_advisory_unlock(turn);
END$$;

-- Values by name of the host as a whole.
CREATE TABLE setting (
  id BIGINT PRIMARY KEY, name TEXT COLLATE "C" NOT NULL DEFAULT '',
  text TEXT COLLATE "C" NOT NULL DEFAULT '');

-- The slaves. id is the number that the host gave the slave.
CREATE TABLE server (
  id BIGINT PRIMARY KEY, model TEXT COLLATE "C" NOT NULL DEFAULT '',
  status BIGINT NOT NULL DEFAULT 0, pkg_status BIGINT NOT NULL DEFAULT 0, vol_status BIGINT NOT NULL DEFAULT 0,
  cam_count BIGINT NOT NULL DEFAULT 0, iomodule_count BIGINT NOT NULL DEFAULT 0,
  trans_dev_count BIGINT NOT NULL DEFAULT 0, speaker_dev_count BIGINT NOT NULL DEFAULT 0,
  acs_door_count BIGINT NOT NULL DEFAULT 0, vol_space DOUBLE PRECISION NOT NULL DEFAULT 0,
  is_beta BIGINT NOT NULL DEFAULT 0, cms_locked BIGINT NOT NULL DEFAULT 0, cms_masked BIGINT NOT NULL DEFAULT 0,
  has_aac BIGINT NOT NULL DEFAULT 0, has_hevc BIGINT NOT NULL DEFAULT 0, oru_pkg_status BIGINT NOT NULL DEFAULT 0,
  rec_encrypt_enabled BIGINT NOT NULL DEFAULT 0, login_error BIGINT NOT NULL DEFAULT 0,
  cookie TEXT COLLATE "C" NOT NULL DEFAULT '', serial_num TEXT COLLATE "C" NOT NULL DEFAULT '',
  tarn_version TEXT COLLATE "C" NOT NULL DEFAULT '', qv_version TEXT COLLATE "C" NOT NULL DEFAULT '',
  dp_version TEXT COLLATE "C" NOT NULL DEFAULT '', recover_progress BIGINT NOT NULL DEFAULT 0,
  last_report TEXT COLLATE "C" NOT NULL DEFAULT '');

-- The outbox: what is still to be delivered, in order of id.
CREATE TABLE message (
  id BIGINT PRIMARY KEY, zr_id BIGINT NOT NULL DEFAULT 0,
  target TEXT COLLATE "C" NOT NULL DEFAULT '', command TEXT COLLATE "C" NOT NULL DEFAULT '',
  payload TEXT COLLATE "C" NOT NULL DEFAULT '');

-- Devices. owner_zr_id is the slave, id_on_rec_server the device's id on that slave. A device of the host itself has
-- owner 0.
CREATE TABLE camera (
  id BIGINT PRIMARY KEY, id_on_rec_server BIGINT NOT NULL DEFAULT 0,
  owner_zr_id BIGINT NOT NULL DEFAULT 0, name TEXT COLLATE "C" NOT NULL DEFAULT '',
  enabled BIGINT NOT NULL DEFAULT 1, vendor TEXT COLLATE "C" NOT NULL DEFAULT '',
  model TEXT COLLATE "C" NOT NULL DEFAULT '', firmware_version TEXT COLLATE "C" NOT NULL DEFAULT '',
  mac_address TEXT COLLATE "C" NOT NULL DEFAULT '', host TEXT COLLATE "C" NOT NULL DEFAULT '',
  port BIGINT NOT NULL DEFAULT 80, use_https BIGINT NOT NULL DEFAULT 0, rtsp_port BIGINT NOT NULL DEFAULT 554,
  rtsp_path TEXT COLLATE "C" NOT NULL DEFAULT '', username TEXT COLLATE "C" NOT NULL DEFAULT '',
  password TEXT COLLATE "C" NOT NULL DEFAULT '', channel BIGINT NOT NULL DEFAULT 1,
  video_codec TEXT COLLATE "C" NOT NULL DEFAULT '', resolution TEXT COLLATE "C" NOT NULL DEFAULT '',
  frame_rate BIGINT NOT NULL DEFAULT 0, bit_rate BIGINT NOT NULL DEFAULT 0, quality BIGINT NOT NULL DEFAULT 0,
  stream_profile1 TEXT COLLATE "C" NOT NULL DEFAULT '', stream_profile2 TEXT COLLATE "C" NOT NULL DEFAULT '',
  stream_profile3 TEXT COLLATE "C" NOT NULL DEFAULT '', live_profile BIGINT NOT NULL DEFAULT 0,
  recording_profile BIGINT NOT NULL DEFAULT 0, mobile_profile BIGINT NOT NULL DEFAULT 0,
  recording_schedule TEXT COLLATE "C" NOT NULL DEFAULT '', retention_days BIGINT NOT NULL DEFAULT 0,
  retention_size BIGINT NOT NULL DEFAULT 0, pre_recording BIGINT NOT NULL DEFAULT 0,
  post_recording BIGINT NOT NULL DEFAULT 0, audio_enabled BIGINT NOT NULL DEFAULT 0,
  audio_codec TEXT COLLATE "C" NOT NULL DEFAULT '', ptz_capability BIGINT NOT NULL DEFAULT 0,
  motion_source BIGINT NOT NULL DEFAULT 0, motion_sensitivity BIGINT NOT NULL DEFAULT 0,
  motion_regions TEXT COLLATE "C" NOT NULL DEFAULT '', motion_event_type BIGINT NOT NULL DEFAULT 0,
  tampering_event_type BIGINT NOT NULL DEFAULT 0, audio_event_type BIGINT NOT NULL DEFAULT 0,
  disconnect_event_type BIGINT NOT NULL DEFAULT 0, time_zone TEXT COLLATE "C" NOT NULL DEFAULT '',
  note TEXT COLLATE "C" NOT NULL DEFAULT '', status BIGINT NOT NULL DEFAULT 0,
  device_status_flags BIGINT NOT NULL DEFAULT 0, extra TEXT COLLATE "C" NOT NULL DEFAULT '');
CREATE INDEX camera_by_owner_zr_id ON camera (owner_zr_id);
CREATE TABLE edge_storage_settings (
  id BIGINT PRIMARY KEY, owner_zr_id BIGINT NOT NULL DEFAULT 0,
  camera_id BIGINT REFERENCES camera(id) ON DELETE CASCADE, enabled BIGINT NOT NULL DEFAULT 0,
  recording_mode BIGINT NOT NULL DEFAULT 0, schedule TEXT COLLATE "C" NOT NULL DEFAULT '',
  stream_profile BIGINT NOT NULL DEFAULT 0, retention_days BIGINT NOT NULL DEFAULT 0,
  storage_type TEXT COLLATE "C" NOT NULL DEFAULT '', size BIGINT NOT NULL DEFAULT 0,
  format TEXT COLLATE "C" NOT NULL DEFAULT '', file_system TEXT COLLATE "C" NOT NULL DEFAULT '',
  overwrite BIGINT NOT NULL DEFAULT 1, pre_recording BIGINT NOT NULL DEFAULT 0,
  post_recording BIGINT NOT NULL DEFAULT 0, retrieve_gaps BIGINT NOT NULL DEFAULT 1,
  encryption_password TEXT COLLATE "C" NOT NULL DEFAULT '', status BIGINT NOT NULL DEFAULT 0,
  extra TEXT COLLATE "C" NOT NULL DEFAULT '');
CREATE INDEX edge_storage_settings_by_owner_zr_id ON edge_storage_settings (owner_zr_id);
CREATE INDEX edge_storage_settings_by_camera_id ON edge_storage_settings (camera_id);

-- Files of camera capabilities. owner_zr_id is 0 for a file that slaves share.
CREATE TABLE capability_file (
  id BIGINT PRIMARY KEY, owner_zr_id BIGINT NOT NULL DEFAULT 0,
  path TEXT COLLATE "C" NOT NULL DEFAULT '', vendor TEXT COLLATE "C" NOT NULL DEFAULT '',
  model TEXT COLLATE "C" NOT NULL DEFAULT '', content TEXT COLLATE "C" NOT NULL DEFAULT '');
CREATE INDEX capability_file_by_owner_zr_id ON capability_file (owner_zr_id);
CREATE INDEX capability_file_by_path ON capability_file (path);
-- One row: changes with every transaction that changes capability_file.
CREATE TABLE capability_revision (
  revision TEXT COLLATE "C" NOT NULL);
INSERT INTO capability_revision (revision) VALUES (md5(random()::text));
CREATE TABLE iomodule (
  id BIGINT PRIMARY KEY, id_on_rec_server BIGINT NOT NULL DEFAULT 0,
  owner_zr_id BIGINT NOT NULL DEFAULT 0, name TEXT COLLATE "C" NOT NULL DEFAULT '',
  enabled BIGINT NOT NULL DEFAULT 1, vendor TEXT COLLATE "C" NOT NULL DEFAULT '',
  model TEXT COLLATE "C" NOT NULL DEFAULT '', firmware_version TEXT COLLATE "C" NOT NULL DEFAULT '',
  mac_address TEXT COLLATE "C" NOT NULL DEFAULT '', serial_number TEXT COLLATE "C" NOT NULL DEFAULT '',
  host TEXT COLLATE "C" NOT NULL DEFAULT '', port BIGINT NOT NULL DEFAULT 80, use_https BIGINT NOT NULL DEFAULT 0,
  username TEXT COLLATE "C" NOT NULL DEFAULT '', password TEXT COLLATE "C" NOT NULL DEFAULT '',
  input_count BIGINT NOT NULL DEFAULT 0, output_count BIGINT NOT NULL DEFAULT 0,
  input_ports TEXT COLLATE "C" NOT NULL DEFAULT '', output_ports TEXT COLLATE "C" NOT NULL DEFAULT '',
  time_zone TEXT COLLATE "C" NOT NULL DEFAULT '', location TEXT COLLATE "C" NOT NULL DEFAULT '',
  note TEXT COLLATE "C" NOT NULL DEFAULT '', status_on_rec_server BIGINT NOT NULL DEFAULT 0,
  device_status_flags BIGINT NOT NULL DEFAULT 0, extra TEXT COLLATE "C" NOT NULL DEFAULT '');
CREATE INDEX iomodule_by_owner_zr_id ON iomodule (owner_zr_id);
CREATE TABLE pos (
  id BIGINT PRIMARY KEY, id_on_rec_server BIGINT NOT NULL DEFAULT 0,
  owner_zr_id BIGINT NOT NULL DEFAULT 0, name TEXT COLLATE "C" NOT NULL DEFAULT '',
  enabled BIGINT NOT NULL DEFAULT 1, vendor TEXT COLLATE "C" NOT NULL DEFAULT '',
  model TEXT COLLATE "C" NOT NULL DEFAULT '', connection_type BIGINT NOT NULL DEFAULT 0,
  host TEXT COLLATE "C" NOT NULL DEFAULT '', port BIGINT NOT NULL DEFAULT 0, baud_rate BIGINT NOT NULL DEFAULT 9600,
  username TEXT COLLATE "C" NOT NULL DEFAULT '', password TEXT COLLATE "C" NOT NULL DEFAULT '',
  encoding TEXT COLLATE "C" NOT NULL DEFAULT '', transaction_start TEXT COLLATE "C" NOT NULL DEFAULT '',
  transaction_end TEXT COLLATE "C" NOT NULL DEFAULT '', transaction_timeout BIGINT NOT NULL DEFAULT 30,
  paired_cameras TEXT COLLATE "C" NOT NULL DEFAULT '', overlay_enabled BIGINT NOT NULL DEFAULT 0,
  overlay_position BIGINT NOT NULL DEFAULT 0, overlay_font_size BIGINT NOT NULL DEFAULT 0,
  overlay_font_color TEXT COLLATE "C" NOT NULL DEFAULT '', overlay_background TEXT COLLATE "C" NOT NULL DEFAULT '',
  overlay_duration BIGINT NOT NULL DEFAULT 10, record_transactions BIGINT NOT NULL DEFAULT 1,
  retention_days BIGINT NOT NULL DEFAULT 0, time_zone TEXT COLLATE "C" NOT NULL DEFAULT '',
  note TEXT COLLATE "C" NOT NULL DEFAULT '', status BIGINT NOT NULL DEFAULT 0,
  device_status_flags BIGINT NOT NULL DEFAULT 0, extra TEXT COLLATE "C" NOT NULL DEFAULT '');
CREATE INDEX pos_by_owner_zr_id ON pos (owner_zr_id);
CREATE TABLE pos_text_rule (
  id BIGINT PRIMARY KEY, pos_id BIGINT REFERENCES pos(id) ON DELETE CASCADE,
  position BIGINT NOT NULL DEFAULT 0, type BIGINT NOT NULL DEFAULT 0, pattern TEXT COLLATE "C" NOT NULL DEFAULT '',
  value TEXT COLLATE "C" NOT NULL DEFAULT '');
CREATE INDEX pos_text_rule_by_pos_id ON pos_text_rule (pos_id);
CREATE TABLE ipspeaker (
  id BIGINT PRIMARY KEY, id_on_rec_server BIGINT NOT NULL DEFAULT 0,
  owner_zr_id BIGINT NOT NULL DEFAULT 0, name TEXT COLLATE "C" NOT NULL DEFAULT '',
  enabled BIGINT NOT NULL DEFAULT 1, vendor TEXT COLLATE "C" NOT NULL DEFAULT '',
  model TEXT COLLATE "C" NOT NULL DEFAULT '', firmware_version TEXT COLLATE "C" NOT NULL DEFAULT '',
  mac_address TEXT COLLATE "C" NOT NULL DEFAULT '', host TEXT COLLATE "C" NOT NULL DEFAULT '',
  port BIGINT NOT NULL DEFAULT 80, use_https BIGINT NOT NULL DEFAULT 0,
  username TEXT COLLATE "C" NOT NULL DEFAULT '', password TEXT COLLATE "C" NOT NULL DEFAULT '',
  audio_codec TEXT COLLATE "C" NOT NULL DEFAULT '', sample_rate BIGINT NOT NULL DEFAULT 0,
  volume BIGINT NOT NULL DEFAULT 50, muted BIGINT NOT NULL DEFAULT 0, multicast_enabled BIGINT NOT NULL DEFAULT 0,
  multicast_address TEXT COLLATE "C" NOT NULL DEFAULT '', multicast_port BIGINT NOT NULL DEFAULT 0,
  speaker_groups TEXT COLLATE "C" NOT NULL DEFAULT '', paired_cameras TEXT COLLATE "C" NOT NULL DEFAULT '',
  audio_clips TEXT COLLATE "C" NOT NULL DEFAULT '', schedule TEXT COLLATE "C" NOT NULL DEFAULT '',
  sip_enabled BIGINT NOT NULL DEFAULT 0, sip_server TEXT COLLATE "C" NOT NULL DEFAULT '',
  sip_account TEXT COLLATE "C" NOT NULL DEFAULT '', time_zone TEXT COLLATE "C" NOT NULL DEFAULT '',
  note TEXT COLLATE "C" NOT NULL DEFAULT '', status_on_rec_server BIGINT NOT NULL DEFAULT 0,
  device_status_flags BIGINT NOT NULL DEFAULT 0, extra TEXT COLLATE "C" NOT NULL DEFAULT '');
CREATE INDEX ipspeaker_by_owner_zr_id ON ipspeaker (owner_zr_id);
CREATE TABLE axis_acs_ctrler (
  id BIGINT PRIMARY KEY, id_on_rec_server BIGINT NOT NULL DEFAULT 0,
  owner_zr_id BIGINT NOT NULL DEFAULT 0, name TEXT COLLATE "C" NOT NULL DEFAULT '',
  enabled BIGINT NOT NULL DEFAULT 1, model TEXT COLLATE "C" NOT NULL DEFAULT '',
  firmware_version TEXT COLLATE "C" NOT NULL DEFAULT '', serial_number TEXT COLLATE "C" NOT NULL DEFAULT '',
  mac_addr TEXT COLLATE "C" NOT NULL DEFAULT '', host TEXT COLLATE "C" NOT NULL DEFAULT '',
  port BIGINT NOT NULL DEFAULT 80, use_https BIGINT NOT NULL DEFAULT 0,
  username TEXT COLLATE "C" NOT NULL DEFAULT '', password TEXT COLLATE "C" NOT NULL DEFAULT '',
  time_zone TEXT COLLATE "C" NOT NULL DEFAULT '', log_retention_days BIGINT NOT NULL DEFAULT 0,
  note TEXT COLLATE "C" NOT NULL DEFAULT '', status BIGINT NOT NULL DEFAULT 0,
  device_status_flags BIGINT NOT NULL DEFAULT 0, extra TEXT COLLATE "C" NOT NULL DEFAULT '');
CREATE INDEX axis_acs_ctrler_by_owner_zr_id ON axis_acs_ctrler (owner_zr_id);
CREATE TABLE axis_door (
  id BIGINT PRIMARY KEY, id_on_rec_server BIGINT NOT NULL DEFAULT 0,
  owner_zr_id BIGINT NOT NULL DEFAULT 0, ctrler_id BIGINT REFERENCES axis_acs_ctrler(id) ON DELETE CASCADE,
  name TEXT COLLATE "C" NOT NULL DEFAULT '', enabled BIGINT NOT NULL DEFAULT 1,
  cam_id BIGINT REFERENCES camera(id) ON DELETE SET NULL, cam_zr_id BIGINT NOT NULL DEFAULT 0,
  lock_type BIGINT NOT NULL DEFAULT 0, access_time BIGINT NOT NULL DEFAULT 0,
  long_access_time BIGINT NOT NULL DEFAULT 0, lock_settings TEXT COLLATE "C" NOT NULL DEFAULT '',
  reader_settings TEXT COLLATE "C" NOT NULL DEFAULT '', unlock_schedule TEXT COLLATE "C" NOT NULL DEFAULT '',
  layout_position BIGINT NOT NULL DEFAULT 0, status BIGINT NOT NULL DEFAULT 0,
  extra TEXT COLLATE "C" NOT NULL DEFAULT '');
CREATE INDEX axis_door_by_owner_zr_id ON axis_door (owner_zr_id);
CREATE INDEX axis_door_by_ctrler_id ON axis_door (ctrler_id);
CREATE INDEX axis_door_by_cam_id ON axis_door (cam_id);

-- Sections of a snapshot that the host keeps as they came, tied to the devices that they are about.
CREATE TABLE camera_detection_setting (
  id BIGINT PRIMARY KEY, id_on_rec_server BIGINT NOT NULL DEFAULT 0,
  owner_zr_id BIGINT NOT NULL DEFAULT 0, camera_id BIGINT REFERENCES camera(id) ON DELETE CASCADE,
  pos_id BIGINT REFERENCES pos(id) ON DELETE CASCADE, settings TEXT COLLATE "C" NOT NULL DEFAULT '',
  iomodule_id BIGINT REFERENCES iomodule(id) ON DELETE CASCADE);
CREATE INDEX camera_detection_setting_by_owner_zr_id ON camera_detection_setting (owner_zr_id);
CREATE INDEX camera_detection_setting_by_camera_id ON camera_detection_setting (camera_id);
CREATE INDEX camera_detection_setting_by_pos_id ON camera_detection_setting (pos_id);
CREATE INDEX camera_detection_setting_by_iomodule_id ON camera_detection_setting (iomodule_id);
CREATE TABLE camera_device_output (
  id BIGINT PRIMARY KEY, id_on_rec_server BIGINT NOT NULL DEFAULT 0,
  owner_zr_id BIGINT NOT NULL DEFAULT 0, camera_id BIGINT REFERENCES camera(id) ON DELETE CASCADE,
  pos_id BIGINT REFERENCES pos(id) ON DELETE CASCADE, settings TEXT COLLATE "C" NOT NULL DEFAULT '',
  iomodule_id BIGINT REFERENCES iomodule(id) ON DELETE CASCADE);
CREATE INDEX camera_device_output_by_owner_zr_id ON camera_device_output (owner_zr_id);
CREATE INDEX camera_device_output_by_camera_id ON camera_device_output (camera_id);
CREATE INDEX camera_device_output_by_pos_id ON camera_device_output (pos_id);
CREATE INDEX camera_device_output_by_iomodule_id ON camera_device_output (iomodule_id);
CREATE TABLE rec_share (
  id BIGINT PRIMARY KEY, id_on_rec_server BIGINT NOT NULL DEFAULT 0,
  owner_zr_id BIGINT NOT NULL DEFAULT 0, camera_id BIGINT REFERENCES camera(id) ON DELETE CASCADE,
  pos_id BIGINT REFERENCES pos(id) ON DELETE CASCADE, settings TEXT COLLATE "C" NOT NULL DEFAULT '',
  iomodule_id BIGINT REFERENCES iomodule(id) ON DELETE CASCADE);
CREATE INDEX rec_share_by_owner_zr_id ON rec_share (owner_zr_id);
CREATE INDEX rec_share_by_camera_id ON rec_share (camera_id);
CREATE INDEX rec_share_by_pos_id ON rec_share (pos_id);
CREATE INDEX rec_share_by_iomodule_id ON rec_share (iomodule_id);
CREATE TABLE ctrler_action_rule (
  id BIGINT PRIMARY KEY, id_on_rec_server BIGINT NOT NULL DEFAULT 0,
  owner_zr_id BIGINT NOT NULL DEFAULT 0, camera_id BIGINT REFERENCES camera(id) ON DELETE CASCADE,
  pos_id BIGINT REFERENCES pos(id) ON DELETE CASCADE, settings TEXT COLLATE "C" NOT NULL DEFAULT '',
  iomodule_id BIGINT REFERENCES iomodule(id) ON DELETE CASCADE);
CREATE INDEX ctrler_action_rule_by_owner_zr_id ON ctrler_action_rule (owner_zr_id);
CREATE INDEX ctrler_action_rule_by_camera_id ON ctrler_action_rule (camera_id);
CREATE INDEX ctrler_action_rule_by_pos_id ON ctrler_action_rule (pos_id);
CREATE INDEX ctrler_action_rule_by_iomodule_id ON ctrler_action_rule (iomodule_id);
CREATE TABLE iomodule_setting (
  id BIGINT PRIMARY KEY, id_on_rec_server BIGINT NOT NULL DEFAULT 0,
  owner_zr_id BIGINT NOT NULL DEFAULT 0, camera_id BIGINT REFERENCES camera(id) ON DELETE CASCADE,
  pos_id BIGINT REFERENCES pos(id) ON DELETE CASCADE, settings TEXT COLLATE "C" NOT NULL DEFAULT '',
  iomodule_id BIGINT REFERENCES iomodule(id) ON DELETE CASCADE);
CREATE INDEX iomodule_setting_by_owner_zr_id ON iomodule_setting (owner_zr_id);
CREATE INDEX iomodule_setting_by_camera_id ON iomodule_setting (camera_id);
CREATE INDEX iomodule_setting_by_pos_id ON iomodule_setting (pos_id);
CREATE INDEX iomodule_setting_by_iomodule_id ON iomodule_setting (iomodule_id);
CREATE TABLE iomodule_cam_pairing (
  id BIGINT PRIMARY KEY, id_on_rec_server BIGINT NOT NULL DEFAULT 0,
  owner_zr_id BIGINT NOT NULL DEFAULT 0, camera_id BIGINT REFERENCES camera(id) ON DELETE CASCADE,
  pos_id BIGINT REFERENCES pos(id) ON DELETE CASCADE, settings TEXT COLLATE "C" NOT NULL DEFAULT '',
  iomodule_id BIGINT REFERENCES iomodule(id) ON DELETE CASCADE);
CREATE INDEX iomodule_cam_pairing_by_owner_zr_id ON iomodule_cam_pairing (owner_zr_id);
CREATE INDEX iomodule_cam_pairing_by_camera_id ON iomodule_cam_pairing (camera_id);
CREATE INDEX iomodule_cam_pairing_by_pos_id ON iomodule_cam_pairing (pos_id);
CREATE INDEX iomodule_cam_pairing_by_iomodule_id ON iomodule_cam_pairing (iomodule_id);
CREATE TABLE pos_event_conf (
  id BIGINT PRIMARY KEY, id_on_rec_server BIGINT NOT NULL DEFAULT 0,
  owner_zr_id BIGINT NOT NULL DEFAULT 0, camera_id BIGINT REFERENCES camera(id) ON DELETE CASCADE,
  pos_id BIGINT REFERENCES pos(id) ON DELETE CASCADE, settings TEXT COLLATE "C" NOT NULL DEFAULT '',
  iomodule_id BIGINT REFERENCES iomodule(id) ON DELETE CASCADE);
CREATE INDEX pos_event_conf_by_owner_zr_id ON pos_event_conf (owner_zr_id);
CREATE INDEX pos_event_conf_by_camera_id ON pos_event_conf (camera_id);
CREATE INDEX pos_event_conf_by_pos_id ON pos_event_conf (pos_id);
CREATE INDEX pos_event_conf_by_iomodule_id ON pos_event_conf (iomodule_id);

-- What other services of the host keep about slaves and their devices. They write these rows.
CREATE TABLE emap_item (
  id BIGINT PRIMARY KEY, emap_id BIGINT NOT NULL DEFAULT 0,
  position_x BIGINT NOT NULL DEFAULT 0, position_y BIGINT NOT NULL DEFAULT 0,
  camera_id BIGINT REFERENCES camera(id) ON DELETE CASCADE, pos_id BIGINT REFERENCES pos(id) ON DELETE CASCADE,
  speaker_id BIGINT REFERENCES ipspeaker(id) ON DELETE CASCADE,
  iomodule_id BIGINT REFERENCES iomodule(id) ON DELETE CASCADE,
  door_id BIGINT REFERENCES axis_door(id) ON DELETE CASCADE);
CREATE INDEX emap_item_by_camera_id ON emap_item (camera_id);
CREATE INDEX emap_item_by_pos_id ON emap_item (pos_id);
CREATE INDEX emap_item_by_speaker_id ON emap_item (speaker_id);
CREATE INDEX emap_item_by_iomodule_id ON emap_item (iomodule_id);
CREATE INDEX emap_item_by_door_id ON emap_item (door_id);
CREATE TABLE privilege_profile_server (
  id BIGINT PRIMARY KEY, profile_id BIGINT NOT NULL DEFAULT 0,
  zr_id BIGINT REFERENCES server(id) ON DELETE CASCADE);
CREATE INDEX privilege_profile_server_by_zr_id ON privilege_profile_server (zr_id);
CREATE TABLE camera_migration (
  id BIGINT PRIMARY KEY, source_zr_id BIGINT NOT NULL DEFAULT 0,
  destination_zr_id BIGINT NOT NULL DEFAULT 0, camera_id BIGINT REFERENCES camera(id) ON DELETE CASCADE,
  progress BIGINT NOT NULL DEFAULT 0);
CREATE INDEX camera_migration_by_source_zr_id ON camera_migration (source_zr_id);
CREATE INDEX camera_migration_by_destination_zr_id ON camera_migration (destination_zr_id);
CREATE INDEX camera_migration_by_camera_id ON camera_migration (camera_id);
CREATE TABLE event_mount (
  id BIGINT PRIMARY KEY, zr_id BIGINT NOT NULL DEFAULT 0,
  camera_id BIGINT REFERENCES camera(id) ON DELETE SET NULL, name TEXT COLLATE "C" NOT NULL DEFAULT '',
  path TEXT COLLATE "C" NOT NULL DEFAULT '');
CREATE INDEX event_mount_by_zr_id ON event_mount (zr_id);
CREATE INDEX event_mount_by_camera_id ON event_mount (camera_id);
CREATE TABLE event_export (
  id BIGINT PRIMARY KEY, zr_id BIGINT NOT NULL DEFAULT 0,
  camera_id BIGINT REFERENCES camera(id) ON DELETE SET NULL, name TEXT COLLATE "C" NOT NULL DEFAULT '',
  start_time BIGINT NOT NULL DEFAULT 0, end_time BIGINT NOT NULL DEFAULT 0,
  destination TEXT COLLATE "C" NOT NULL DEFAULT '');
CREATE INDEX event_export_by_zr_id ON event_export (zr_id);
CREATE INDEX event_export_by_camera_id ON event_export (camera_id);
CREATE TABLE door_layout_item (
  id BIGINT PRIMARY KEY, layout_id BIGINT NOT NULL DEFAULT 0,
  position BIGINT NOT NULL DEFAULT 0, zr_id BIGINT NOT NULL DEFAULT 0,
  door_id BIGINT REFERENCES axis_door(id) ON DELETE SET NULL, title TEXT COLLATE "C" NOT NULL DEFAULT '');
CREATE INDEX door_layout_item_by_zr_id ON door_layout_item (zr_id);
CREATE INDEX door_layout_item_by_door_id ON door_layout_item (door_id);
CREATE TABLE layout_item (
  id BIGINT PRIMARY KEY, layout_id BIGINT NOT NULL DEFAULT 0,
  position BIGINT NOT NULL DEFAULT 0, stream_profile BIGINT NOT NULL DEFAULT 0,
  camera_id BIGINT REFERENCES camera(id) ON DELETE CASCADE);
CREATE INDEX layout_item_by_camera_id ON layout_item (camera_id);
CREATE TABLE camera_group_member (
  id BIGINT PRIMARY KEY, group_id BIGINT NOT NULL DEFAULT 0,
  position BIGINT NOT NULL DEFAULT 0, camera_id BIGINT REFERENCES camera(id) ON DELETE CASCADE);
CREATE INDEX camera_group_member_by_camera_id ON camera_group_member (camera_id);

-- Analytics. extra holds reported members that have no column, as one JSON object.
CREATE TABLE iva_task (
  id BIGINT PRIMARY KEY, name TEXT COLLATE "C" NOT NULL DEFAULT '',
  camera_id BIGINT REFERENCES camera(id) ON DELETE CASCADE, owner_zr_id BIGINT NOT NULL DEFAULT 0,
  id_on_rec_server BIGINT NOT NULL DEFAULT 0, enable BIGINT NOT NULL DEFAULT 0, type BIGINT NOT NULL DEFAULT 0,
  cam_profile BIGINT NOT NULL DEFAULT 0, sensitivity BIGINT NOT NULL DEFAULT 0,
  analyze_frequency BIGINT NOT NULL DEFAULT 0, notify_frequency BIGINT NOT NULL DEFAULT 0,
  confidence DOUBLE PRECISION NOT NULL DEFAULT 0, day_night_filter BIGINT NOT NULL DEFAULT 0,
  region_type BIGINT NOT NULL DEFAULT 0, object_size_option BIGINT NOT NULL DEFAULT 0,
  object_min_width DOUBLE PRECISION NOT NULL DEFAULT 0, object_min_height DOUBLE PRECISION NOT NULL DEFAULT 0,
  object_max_width DOUBLE PRECISION NOT NULL DEFAULT 0, object_max_height DOUBLE PRECISION NOT NULL DEFAULT 0,
  display_info BIGINT NOT NULL DEFAULT 0, display_position BIGINT NOT NULL DEFAULT 0,
  display_font_size BIGINT NOT NULL DEFAULT 0, display_region BIGINT NOT NULL DEFAULT 0,
  display_object_box BIGINT NOT NULL DEFAULT 0, display_trajectory BIGINT NOT NULL DEFAULT 0,
  dwell_time BIGINT NOT NULL DEFAULT 0, trigger_interval BIGINT NOT NULL DEFAULT 0,
  object_number_threshold BIGINT NOT NULL DEFAULT 0, detect_people BIGINT NOT NULL DEFAULT 0,
  detect_vehicle BIGINT NOT NULL DEFAULT 0, detect_region TEXT COLLATE "C" NOT NULL DEFAULT '',
  exclude_region TEXT COLLATE "C" NOT NULL DEFAULT '', detect_animal BIGINT NOT NULL DEFAULT 0,
  detect_bicycle BIGINT NOT NULL DEFAULT 0, direction BIGINT NOT NULL DEFAULT 0,
  counting_reset_hour BIGINT NOT NULL DEFAULT 0, counting_reset_minute BIGINT NOT NULL DEFAULT 0,
  counting_capacity BIGINT NOT NULL DEFAULT 0, counting_capacity_warning BIGINT NOT NULL DEFAULT 0,
  object_min_real_height DOUBLE PRECISION NOT NULL DEFAULT 0,
  object_max_real_height DOUBLE PRECISION NOT NULL DEFAULT 0, camera_height DOUBLE PRECISION NOT NULL DEFAULT 0,
  camera_tilt DOUBLE PRECISION NOT NULL DEFAULT 0, shadow_filter BIGINT NOT NULL DEFAULT 0,
  fence TEXT COLLATE "C" NOT NULL DEFAULT '', schedule TEXT COLLATE "C" NOT NULL DEFAULT '',
  object_classes TEXT COLLATE "C" NOT NULL DEFAULT '', notify_message TEXT COLLATE "C" NOT NULL DEFAULT '',
  display_color TEXT COLLATE "C" NOT NULL DEFAULT '', record_event BIGINT NOT NULL DEFAULT 0,
  pre_recording BIGINT NOT NULL DEFAULT 0, post_recording BIGINT NOT NULL DEFAULT 0,
  notify_enable BIGINT NOT NULL DEFAULT 0, notify_mobile BIGINT NOT NULL DEFAULT 0,
  alert_level BIGINT NOT NULL DEFAULT 0, extra TEXT COLLATE "C" NOT NULL DEFAULT '',
  camera_shake_filter BIGINT NOT NULL DEFAULT 0, static_object_filter BIGINT NOT NULL DEFAULT 0,
  object_min_speed DOUBLE PRECISION NOT NULL DEFAULT 0, object_max_speed DOUBLE PRECISION NOT NULL DEFAULT 0,
  crowd_level BIGINT NOT NULL DEFAULT 0, background_learning_time BIGINT NOT NULL DEFAULT 0,
  left_object_time BIGINT NOT NULL DEFAULT 0, removed_object_time BIGINT NOT NULL DEFAULT 0,
  day_begin_minute BIGINT NOT NULL DEFAULT 0, day_end_minute BIGINT NOT NULL DEFAULT 0,
  night_sensitivity BIGINT NOT NULL DEFAULT 0, stream_frame_rate BIGINT NOT NULL DEFAULT 0,
  stream_width BIGINT NOT NULL DEFAULT 0, stream_height BIGINT NOT NULL DEFAULT 0,
  region_zoom DOUBLE PRECISION NOT NULL DEFAULT 0, retention_days BIGINT NOT NULL DEFAULT 0,
  snapshot_enable BIGINT NOT NULL DEFAULT 0, snapshot_quality BIGINT NOT NULL DEFAULT 0,
  metadata_enable BIGINT NOT NULL DEFAULT 0, metadata_retention_days BIGINT NOT NULL DEFAULT 0,
  engine_index BIGINT NOT NULL DEFAULT 0, priority BIGINT NOT NULL DEFAULT 0, version BIGINT NOT NULL DEFAULT 0,
  create_time BIGINT NOT NULL DEFAULT 0, update_time BIGINT NOT NULL DEFAULT 0);
CREATE INDEX iva_task_by_camera_id ON iva_task (camera_id);
CREATE INDEX iva_task_by_owner_zr_id ON iva_task (owner_zr_id);
CREATE INDEX iva_task_by_id_on_rec_server ON iva_task (id_on_rec_server,owner_zr_id);
CREATE TABLE face_task (
  id BIGINT PRIMARY KEY, name TEXT COLLATE "C" NOT NULL DEFAULT '',
  camera_id BIGINT REFERENCES camera(id) ON DELETE CASCADE, owner_zr_id BIGINT NOT NULL DEFAULT 0,
  id_on_rec_server BIGINT NOT NULL DEFAULT 0, task_id BIGINT NOT NULL DEFAULT 0, enable BIGINT NOT NULL DEFAULT 0,
  cam_profile BIGINT NOT NULL DEFAULT 0, analyze_frequency BIGINT NOT NULL DEFAULT 0,
  region_type BIGINT NOT NULL DEFAULT 0, detect_region TEXT COLLATE "C" NOT NULL DEFAULT '',
  sensitivity BIGINT NOT NULL DEFAULT 0, confidence DOUBLE PRECISION NOT NULL DEFAULT 0,
  schedule TEXT COLLATE "C" NOT NULL DEFAULT '', display_info BIGINT NOT NULL DEFAULT 0,
  frame_display_info BIGINT NOT NULL DEFAULT 0, known_face_color BIGINT NOT NULL DEFAULT 0,
  unknown_face_color BIGINT NOT NULL DEFAULT 0, match_type BIGINT NOT NULL DEFAULT 0,
  name_rule BIGINT NOT NULL DEFAULT 0, face_min_width DOUBLE PRECISION NOT NULL DEFAULT 0,
  face_min_height DOUBLE PRECISION NOT NULL DEFAULT 0, notify_enable BIGINT NOT NULL DEFAULT 0,
  trigger_interval BIGINT NOT NULL DEFAULT 0, face_groups TEXT COLLATE "C" NOT NULL DEFAULT '',
  notify_message TEXT COLLATE "C" NOT NULL DEFAULT '', extra TEXT COLLATE "C" NOT NULL DEFAULT '',
  mask_detection BIGINT NOT NULL DEFAULT 0, liveness_check BIGINT NOT NULL DEFAULT 0,
  record_event BIGINT NOT NULL DEFAULT 0, retention_days BIGINT NOT NULL DEFAULT 0);
CREATE INDEX face_task_by_camera_id ON face_task (camera_id);
CREATE INDEX face_task_by_owner_zr_id ON face_task (owner_zr_id);
CREATE TABLE counting_widget (
  id BIGINT PRIMARY KEY,
  iva_setting_id BIGINT REFERENCES iva_task(id) ON DELETE CASCADE, id_on_rec_server BIGINT NOT NULL DEFAULT 0,
  name TEXT COLLATE "C" NOT NULL DEFAULT '', type BIGINT NOT NULL DEFAULT 0, detect_type BIGINT NOT NULL DEFAULT 0,
  calculation_type BIGINT NOT NULL DEFAULT 0, owner_zr_id BIGINT NOT NULL DEFAULT 0,
  capacity BIGINT NOT NULL DEFAULT 0, extra TEXT COLLATE "C" NOT NULL DEFAULT '',
  precedence BIGINT NOT NULL DEFAULT 0);
CREATE INDEX counting_widget_by_iva_setting_id ON counting_widget (iva_setting_id);
CREATE INDEX counting_widget_by_owner_zr_id ON counting_widget (owner_zr_id);
CREATE INDEX counting_widget_by_id_on_rec_server ON counting_widget (id_on_rec_server,iva_setting_id);
CREATE INDEX counting_widget_by_id_and_owner ON counting_widget (id_on_rec_server,owner_zr_id);
CREATE TABLE counting_task_group (
  id BIGINT PRIMARY KEY, id_on_rec_server BIGINT NOT NULL DEFAULT 0,
  owner_zr_id BIGINT NOT NULL DEFAULT 0, name TEXT COLLATE "C" NOT NULL DEFAULT '',
  extra TEXT COLLATE "C" NOT NULL DEFAULT '');
CREATE INDEX counting_task_group_by_owner_zr_id ON counting_task_group (owner_zr_id);
CREATE INDEX counting_task_group_by_id_on_rec_server ON counting_task_group (id_on_rec_server,owner_zr_id);
CREATE TABLE counting_task_group_widget (
  id BIGINT PRIMARY KEY,
  group_id BIGINT REFERENCES counting_task_group(id) ON DELETE CASCADE, position BIGINT NOT NULL DEFAULT 0,
  widget_id BIGINT REFERENCES counting_widget(id) ON DELETE CASCADE);
CREATE INDEX counting_task_group_widget_by_group_id ON counting_task_group_widget (group_id);
CREATE INDEX counting_task_group_widget_by_widget_id ON counting_task_group_widget (widget_id);

DO $$
DECLARE
  name TEXT;
BEGIN
  FOREACH name IN ARRAY ARRAY[
    'setting', 'server', 'message', 'camera', 'edge_storage_settings', 'capability_file', 'iomodule', 'pos',
    'pos_text_rule', 'ipspeaker', 'axis_acs_ctrler', 'axis_door', 'camera_detection_setting',
    'camera_device_output', 'rec_share', 'ctrler_action_rule', 'iomodule_setting', 'iomodule_cam_pairing',
    'pos_event_conf', 'emap_item', 'privilege_profile_server', 'camera_migration', 'event_mount',
    'event_export', 'door_layout_item', 'layout_item', 'camera_group_member', 'iva_task', 'face_task',
    'counting_widget', 'counting_task_group', 'counting_task_group_widget'] LOOP
    EXECUTE format('CREATE SEQUENCE %1$s_id_seq OWNED BY %1$s.id', name);
    EXECUTE format('ALTER TABLE %1$s ALTER id SET DEFAULT take_ids(%1$L, 1)', name);
  END LOOP;
END$$;
)sql";

}  // namespace qv::schema
