CREATE TABLE snapshot (
    id          INTEGER PRIMARY KEY,
    camera_id   INTEGER,
    create_time INTEGER,
    video_time  INTEGER,
    path        TEXT
);
