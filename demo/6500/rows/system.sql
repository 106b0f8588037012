-- Streams by purpose. The last two cameras have been through the integration already.
UPDATE camera SET profile_setting_list = '0,1,2,0,0,0,0,0,0,0,0,0';
UPDATE camera SET profile_setting_list = '0,1,2,0,0,0,2,2,1,0,2,0' WHERE id IN (1, 10);
UPDATE camera SET profile_setting_list = '0,0,0,0,0,0,0,0,0,0,0'   WHERE id = 4;
UPDATE camera SET profile_setting_list = '0,1,2,0,0,0,1,1,1,0,1,0' WHERE id IN (5, 6);
UPDATE camera SET profile_setting_list = '0,1,2,0,0,0,0,1,0,0,0,0' WHERE id = 11;
UPDATE camera SET profile_setting_list = '0,1,2,0,0,0,1,1,1,0,1,0,1,0,0' WHERE id IN (8, 12);

UPDATE camera SET mobile_liveview_mode = liveview_mode;
UPDATE camera SET alert_event_type         = '1'  || printf('%083d', 0),
                  adv_live_trig_event_type = '01' || printf('%082d', 0),
                  adv_cont_trig_event_type =         printf('%084d', 0);

INSERT INTO cameragroup VALUES (1, 'Outside');

INSERT INTO face_setting VALUES
    (1, 'Staff entrance', 1, 2),
    (2, 'Visitors',       2, 1);

-- Profiles of every level. Strings of 128 characters come from the conversion of the masks, the shorter ones
-- from builds that knew fewer operations.
INSERT INTO privilegeprofile (id, name, privilege, description, custom_uid, ina_adv_operator) VALUES
    (1, 'All-Object Manager',   1,  'System default manager',   '0', printf('%074d', 0)),
    (2, 'All-Object Spectator', 2,  'System default spectator', '0', '00000100000100111111111110111011' || printf('%042d', 0)),
    (3, '',                     0,  'System default admin',     '0', printf('%074d', 0)),
    (4, '',                     -2, '',                         '0', replace(printf('%0128d', 0), '0', '1')),
    (5, 'Night shift',          1,  'Guards',                   '0', '00000000000000000100000000110000' || printf('%096d', 0)),
    (6, 'Reception',            2,  'Front desk',               '0', '00000100000100111111111110111011' || printf('%042d', 0)),
    (7, 'custom_alice.old',     2,  '',                         '1026',  '000001000001001111111111101110110111111110110000' || printf('%022d', 0)),
    (8, 'custom_mueller.old',   2,  '',                         '0x404', replace(printf('%0128d', 0), '0', '1')),
    (9, 'custom_gone',          2,  '',                         '1099',  printf('%078d', 0));

-- The none profile denies everything there was when it was made: one e-map, three cameras.
UPDATE privilegeprofile SET ina_emap_ids = '1', ina_edit_emap_ids = '1', ina_layout_ids = '1,2' WHERE id = 4;

INSERT INTO privilegepercamera (privprofile_id) VALUES (1), (2), (3), (5), (6), (7), (8), (9);
INSERT INTO privilegepercamera (privprofile_id, ina_live_cam_ids, ina_play_cam_ids, ina_lens_cam_ids, ina_audio_cam_ids,
                                ina_digiout_cam_ids)
VALUES (4, '1,2,3', '1,2,3', '1,2,3', '1,2,3', '1,2,3');
INSERT INTO privilegeperdoor (privprofile_id) VALUES (1), (2), (3), (4), (5), (6), (7), (8), (9);
UPDATE privilegepercamera SET ina_play_cam_ids = '5,6' WHERE privprofile_id = 6;

-- Motion detection goes to webhooks, of which there are none any more; people and vehicles are not known yet.
INSERT INTO notificationevent (event_group, event_type, filter, home_mode_filter) VALUES
    (1, 0, 1, 0), (1, 33, 3, 1), (1, 34, 3, 1), (2, 5, 35, 33), (3, 62, 7, 1), (3, 70, 7, 1), (1, 90, 1, -1);
INSERT INTO homemodenotifyfilter VALUES ('1', '1', '1', '1');
INSERT INTO notificationschedule
SELECT column1, replace(printf('%0336d', 0), '0', '1') FROM (VALUES (0), (33), (34), (59), (60), (90));

-- Labels in the old palette; two colours are the user's own, one row is damaged.
INSERT INTO eventlabelsetting (event_type, source, setting) VALUES
    (4, 0, '[{"background":"#CCAA00","categ":1,"enabled":true,"text":"","type":1},' ||
           '{"background":"#009933","categ":1,"enabled":true,"text":"","type":2},' ||
           '{"background":"#6E4510","categ":1,"enabled":true,"text":"","type":4},' ||
           '{"background":"#E04342","categ":1,"enabled":true,"text":"","type":8},' ||
           '{"background":"#1470CC","categ":2,"enabled":true,"text":"Delivery","type":1},' ||
           '{"background":"#E67300","categ":2,"enabled":true,"text":"Störung","type":2},' ||
           '{"background":"#123456","categ":2,"enabled":true,"text":"Own colour","type":4},' ||
           '{"background":"#009999","categ":2,"enabled":false,"text":"","type":8},' ||
           '{"background":"#64696E","categ":2,"enabled":false,"text":"","type":16}]'),
    (4, 1, '[{"background":"#ccaa00","categ":1,"enabled":true,"text":"lower case","type":1},' ||
           '{"background":"#E01E92","categ":2,"enabled":true,"text":"Theft","type":1}]'),
    (5, 0, '[{"background":"#CCAA');
