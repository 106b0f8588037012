CREATE TABLE snapshot (
    id          INTEGER PRIMARY KEY,
    camera_id   INTEGER,
    create_time INTEGER,
    path        TEXT
);
