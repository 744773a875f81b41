-- What other services keep about the devices of the fixtures.
INSERT INTO setting (name,text) VALUES ('site','Depot');
INSERT INTO emap_item (emap_id,camera_id,door_id) VALUES (1,1,1);
INSERT INTO privilege_profile_server (profile_id,zr_id) VALUES (3,7);
INSERT INTO camera_migration (source_zr_id,destination_zr_id,camera_id) VALUES (7,8,2);
INSERT INTO event_mount (zr_id,camera_id,name) VALUES (7,1,'break-in');
INSERT INTO event_export (zr_id,camera_id,name) VALUES (7,2,'theft');
INSERT INTO door_layout_item (layout_id,zr_id,door_id) VALUES (1,7,1);
INSERT INTO layout_item (layout_id,camera_id) VALUES (1,2);
INSERT INTO camera_group_member (group_id,camera_id) VALUES (1,1);
