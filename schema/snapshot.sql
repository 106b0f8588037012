-- Snapshots.

-- A picture. video_time is the time that it shows.
CREATE TABLE snapshot (
    id          INTEGER PRIMARY KEY,
    camera_id   INTEGER DEFAULT 0,
    create_time INTEGER DEFAULT 0,
    video_time  INTEGER DEFAULT 0,
    path        TEXT    DEFAULT ''
);
