-- What both builds hold.

-- Twelve cameras of ten makers.
INSERT INTO camera
    (id, name,                            vendor,        model,               tv_standard, video_type, streaming_type, enable_audio)
VALUES
    (1,  'Front door',                    'AXIS',        'P3384-V',           0, 3, 1, 1),
    (2,  'Lobby',                         'AXIS',        'M3006',             0, 3, 1, 0),
    (3,  'Car park',                      'HIKVISION',   'DS2CD832F(PAL)',    2, 1, 1, 0),
    (4,  'Loading dock',                  'Grandstream', 'GXV3662_HD',        0, 3, 1, 0),
    (5,  'Till 1',                        'Grandstream', 'GXV3504(NTSC)',     1, 3, 1, 1),
    (6,  'Till 2',                        'TRENDNet',    'TV-IP612WN(NTSC)',  1, 3, 1, 1),
    (7,  'Warehouse',                     'AirLive',     'AirCam OD-2025HD',  0, 3, 1, 0),
    (8,  'Yard',                          'ETROVISION',  'EV8180F',           0, 3, 1, 0),
    (9,  'Gate',                          'Messoa',      'NCB858',            2, 1, 2, 0),
    (10, 'Küche',                         'COMPRO',      'IP570',             0, 3, 1, 1),
    (11, 'Roof',                          'Vivotek',     'IP8161',            0, 3, 1, 0),
    (12, 'O''Brien''s office, 2nd floor', 'D-Link',      'DCS-3410',          1, 1, 1, 1);

UPDATE camera SET fov = 'Turbo Picture (Max. 15FPS)'            WHERE id = 10;
UPDATE camera SET fov = 'Video frame rate first (Max. 800x600)' WHERE id = 11;

-- The three streams of each.
UPDATE camera SET resolution = '1920x1080', live_resolution = '1280x720', mobile_resolution = '640x360';
UPDATE camera SET resolution = '704x576', live_resolution = '704x576', mobile_resolution = '352x288' WHERE id IN (3, 9);
UPDATE camera SET resolution = 'VGA', live_resolution = 'VGA', mobile_resolution = 'QVGA'            WHERE id IN (5, 6, 12);
UPDATE camera SET resolution = '640x360', live_resolution = '640x360', mobile_resolution = '320x180' WHERE id = 7;
UPDATE camera SET resolution = '1280x720', live_resolution = '1920x1080'                             WHERE id = 11;

UPDATE camera SET liveview_mode = id % 3;
UPDATE camera SET pre_rec_time = 5, post_rec_time = 5;
UPDATE camera SET pre_rec_time = 10, post_rec_time = 30 WHERE id = 8;

-- Notifications by camera, in words of six digits (see cam_noti_sched_char_num of settings.conf): all day for
-- the gate, the even cameras on working days from 8 to 18, the others never.
WITH RECURSIVE slot(n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM slot WHERE n < 335),
               weekly(always, office, never) AS (
                   SELECT group_concat('FFFFFF'),
                          group_concat(CASE WHEN n / 48 BETWEEN 1 AND 5 AND n % 48 BETWEEN 16 AND 35
                                            THEN '00FFFF' ELSE '0' END),
                          group_concat('000000')
                   FROM slot)
UPDATE camera
SET notifyschedule = (SELECT CASE WHEN camera.name = 'Gate' THEN always
                                  WHEN camera.id % 2 = 0    THEN office
                                  ELSE never END
                      FROM weekly);

-- Analytics tasks: some record longer, or use another stream, than their camera; one has lost its camera.
INSERT INTO iva_setting (id, name, camera_id, stream_profile, pre_rec_time, post_rec_time) VALUES
    (1, 'People at the door', 1,  1, 10, 5),
    (2, 'Left luggage',       1,  0, 3,  20),
    (3, 'Cars',               3,  2, 5,  5),
    (4, 'Yard at night',      8,  0, 5,  10),
    (5, 'Kitchen queue',      10, 2, 30, 60),
    (6, 'Old task',           99, 0, 60, 60);

INSERT INTO archive_pull_task (id, name) VALUES
    (1, 'Branch office'),
    (2, 'Every night from the warehouse in the harbour to the head office'),
    (3, 'Zweigstelle Königstraße, täglich nach Mitternacht');

INSERT INTO slaveds  (id, name) VALUES (1, 'Branch office'), (2, 'Warehouse');
INSERT INTO emap     (id, name) VALUES (1, 'Ground floor'), (2, 'First floor');
INSERT INTO emapitem (id, emap_id, position) VALUES (1, 1, '0.25,0.40'), (2, 1, '0.70,0.15');
INSERT INTO layout   (id, name) VALUES (1, 'All'), (2, 'Tills');
INSERT INTO iomodule (id, name) VALUES (1, 'Barrier');

-- The default mail address stands twice.
INSERT INTO notification (email, email2) VALUES ('guard@example.com', 'guard@example.com');
INSERT INTO notificationpushservice (mobile_enable, orva_mail_enable) VALUES (0, 1);

INSERT INTO account (id, name, privprofileid) VALUES
    (1, 'admin',   0),
    (2, 'alice',   7),
    (3, 'mueller', 8),
    (4, 'bob',     5),
    (5, 'carol',   2);
