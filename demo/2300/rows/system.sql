-- What stood otherwise in build 2300 than in build 3000.

-- Camera models, resolutions and fields of view under their names of then.
UPDATE camera SET model = 'P3384'                                         WHERE id = 1;
UPDATE camera SET resolution = '2048x1536', live_resolution = '1600x1200' WHERE id = 2;
UPDATE camera SET model = 'DS2CD832F', resolution = '4CIF'                WHERE id = 3;
UPDATE camera SET model = 'GXV3662 HD', video_type = 1, enable_audio = 1  WHERE id = 4;
UPDATE camera SET model = 'GXV3504'                                       WHERE id = 5;
UPDATE camera SET model = 'TV-IP612WN'                                    WHERE id = 6;
UPDATE camera SET resolution = '640x352', live_resolution = '320x176'     WHERE id = 7;
UPDATE camera SET model = 'EV8180F-W'                                     WHERE id = 8;
UPDATE camera SET tv_standard = 0                                         WHERE id = 9;
UPDATE camera
SET fov = 'Turbo Picture (offers best picture quality up at megapixel resolution with a maximum frame rate of 15FPS)'
WHERE id = 10;
UPDATE camera SET fov = 'Video frame rate first (Maximum frame size 800x600)' WHERE id = 11;

-- Levels counted from the managers, 0, to the spectators, 1.
UPDATE privilegeprofile SET privilege = privilege - 1;

-- Denied cameras of other recording servers; -1 stands for all of a server.
INSERT INTO privilegeprofilecam VALUES (6, 1, '8'), (6, 3, '-1'), (7, 1, '-1');
