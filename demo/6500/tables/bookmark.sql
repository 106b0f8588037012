CREATE TABLE bookmark (
    id         INTEGER PRIMARY KEY,
    camera_id  INTEGER,
    name       TEXT,
    start_time INTEGER
);
