-- Events that raise an alert, start a live trigger or a recording, as masks: bits 0 and 1, bit 24, bit 31.
UPDATE camera SET alert_event = 3;
UPDATE camera SET alert_event = 16777217, adv_live_trig_event = 5     WHERE id IN (2, 9);
UPDATE camera SET alert_event = -2147483648, adv_contious_trig_event = 8388608 WHERE id = 7;
UPDATE camera SET alert_event = 0                                     WHERE id = 12;

-- Two cameras without a mobile stream, of which one has no live view either.
UPDATE camera SET mobile_resolution = ''                         WHERE id = 2;
UPDATE camera SET mobile_resolution = NULL, live_resolution = '' WHERE id = 4;

-- Some cameras have their detection settings.
INSERT INTO camdetsetting VALUES (1), (3);

-- Messengers of then; one row of the push service had none.
UPDATE notificationpushservice SET msn_enable = 1, msn_account = 'guard@example.com', skype_account = 'guard';
INSERT INTO notificationpushservice (mobile_enable, orva_mail_enable) VALUES (1, 0);

-- Capability files that were named in the share: one has moved with the package, one with its data, one is still
-- there, one is gone.
UPDATE camera SET cap_file_path = '/var/services/vigilo/@Models/P3384.conf'    WHERE id = 1;
UPDATE camera SET cap_file_path = '/var/services/vigilo/@Models/M3006.conf'    WHERE id = 2;
UPDATE camera SET cap_file_path = '/var/services/vigilo/@Models/DS2CD832F.conf' WHERE id = 3;
UPDATE camera SET cap_file_path = '/var/services/vigilo/@Models/GXV3662.conf'  WHERE id = 4;

-- Events that were being written when the old build stopped; the file of camera 10 is a whole one.
UPDATE camera SET writingEvtPath = '/var/services/vigilo/Yard/event8.writing', event_written_byte = 4096 WHERE id = 8;
UPDATE camera SET writingEvtPath = '/var/services/vigilo/Gate/gone.writing',   event_written_byte = 512  WHERE id = 9;
UPDATE camera SET writingEvtPath = '/var/services/vigilo/Kitchen/event10.mp4', event_written_byte = 0    WHERE id = 10;

-- Profiles restrict cameras as such, not yet by right; there is no admin and no none profile yet.
INSERT INTO privilegeprofile
    (id, name,                 privilege, custom_uid, inacamids, inacamgrpids, allcamdsids, ina_adv_oper)
VALUES
    (1, 'Manager',             1, '0',     '',      '',  '',  0),
    (2, 'Spectator',           2, '0',     '',      '',  '',  3),
    (5, 'Night shift',         1, '0',     '',      '',  '',  64),
    (6, 'Reception',           2, '0',     '5,6',   '1', '2', 3),
    (7, 'custom_alice.old',    2, '1026',  '12',    '',  '',  7),
    (8, 'custom_mueller.old',  2, '0x404', '1,2,3', '',  '1', 1),
    (9, 'custom_gone',         2, '1099',  '',      '',  '',  0);

-- A build that knew no digital outputs yet had told apart the rights of one profile to cameras.
INSERT INTO privilegepercamera (privprofile_id, ina_live_cam_ids, ina_play_cam_ids) VALUES (5, '3', '3,4');

-- Of camera 77, layout 9 and e-map 8 nothing is left; 0 and -1 are no objects, and no business of anybody's.
UPDATE privilegeprofile SET inacamids = '5,6,77', ina_layout_ids = '0,1,9', ina_emap_ids = '2,8'  WHERE id = 6;
UPDATE privilegeprofile SET ina_layout_ids = '-1,2', ina_emap_ids = '1'                          WHERE id = 7;

-- The type of motion detection is on in home mode, type 7 there alone.
INSERT INTO homemodenotifyfilter VALUES ('33', '1', '3', '7');
-- Filters in a table. Since then settings.conf has got those of type 33 and of intercom access; type 36 has none.
INSERT INTO notificationfilter VALUES (37, 1, NULL, 1);
INSERT INTO notificationschedule
SELECT column1, replace(printf('%0336d', 0), '0', '1') FROM (VALUES (0), (5));

-- User labels 0 and 2 are on.
INSERT INTO eventlabelsetting VALUES (4, 0, 5, '["Delivery","Besuch","Störung","",""]');
