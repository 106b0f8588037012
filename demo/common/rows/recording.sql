-- Three days of the first four cameras, in pieces of four hours.
WITH RECURSIVE piece(n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM piece WHERE n < 17),
               cam(id)  AS (VALUES (1), (2), (3), (4))
INSERT INTO recording (camera_id, start_time, stop_time, path)
SELECT cam.id,
       1430438400 + piece.n * 14400,
       1430438400 + piece.n * 14400 + 14399,
       printf('cam%d/%d.mp4', cam.id, piece.n)
FROM cam, piece
WHERE piece.n < 6 * (cam.id % 3 + 1);

INSERT INTO event VALUES
    (1, 1, 4, 1430470000, 1430470030, 'cam1/event1.mp4'),
    (2, 3, 4, 1430480000, 1430480045, 'cam3/event2.mp4');

INSERT INTO alertevent VALUES (1, 1, 5, 1430470000);
