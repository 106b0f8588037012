-- Years of 200 cameras: :rows more rows in each of the tables that grow with time.
-- For the sqlite3 shell, on the recording database of a sample system, with those of the log, the door events and the
-- snapshots attached as log_db, doors_db and snapshot_db.
BEGIN;
CREATE TEMP TABLE n(i INTEGER PRIMARY KEY, time INTEGER);
INSERT INTO n WITH RECURSIVE c(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM c WHERE i < :rows)
SELECT i, 1380000000 + i * 50000000 / :rows FROM c;

INSERT INTO recording(camera_id, start_time, stop_time, path)
SELECT i % 200 + 1, time, time + 1799, printf('cam%d/%d.mp4', i % 200 + 1, i) FROM n;
INSERT INTO event(camera_id, event_type, start_time, stop_time, path)
SELECT i % 200 + 1, i % 7, time, time + 30, printf('cam%d/event%d.mp4', i % 200 + 1, i) FROM n;
INSERT INTO alertevent(camera_id, event_type, start_time) SELECT i % 200 + 1, i % 7, time FROM n;
INSERT INTO log_db.log(log_type, user, item_id, params, log_time)
SELECT 321912838 + i % 60, 'admin', i % 200 + 1, printf('["Camera %d"]', i % 200 + 1), time FROM n;
INSERT INTO doors_db.axisacsevtlog(controller_id, door_id, cardholder_id, event_type, timestamp)
SELECT i % 10 + 1, i % 20 + 1, i % 500 + 1, i % 30, time FROM n;
INSERT INTO snapshot_db.snapshot(camera_id, create_time, path) SELECT i % 200 + 1, time, printf('snap%d.jpg', i) FROM n;
COMMIT;
