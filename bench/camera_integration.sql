-- An old system of :cameras cameras, each with a POS pairing, an analytics task and a face task, whose streams
-- differ from camera to camera; every tenth list is older than the recording features.
-- For the sqlite3 shell, on the main database with the point-of-sale database attached as pos_db.
BEGIN;
CREATE TEMP TABLE n(i INTEGER PRIMARY KEY);
INSERT INTO n WITH RECURSIVE c(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM c WHERE i < :cameras) SELECT i FROM c;

INSERT INTO camera(id, name, vendor, model, profile_setting_list, resolution, live_resolution, mobile_resolution)
SELECT i, 'Camera ' || i, 'AXIS', 'P3384-V',
       CASE WHEN i % 10 THEN printf('0,1,2,0,0,0,%d,%d,%d,0,%d,0', i % 3, i / 3 % 3, i / 9 % 3, i % 2)
            ELSE '0,1,2,0,0,0' END,
       '1920x1080', '1280x720', CASE i % 4 WHEN 0 THEN 'VGA' ELSE '640x360' END
FROM n;
INSERT INTO iva_setting(id, name, camera_id, stream_profile) SELECT i, 'People ' || i, i, i % 3 FROM n;
INSERT INTO face_setting(id, name, camera_id, stream_profile) SELECT i, 'Faces ' || i, i, i % 2 FROM n;
INSERT INTO pos_db.pos(id, name, pairedcam_id, pairedcam_stream) SELECT i, 'Till ' || i, i, i % 3 FROM n;
COMMIT;
