-- Analytics recordings.

-- A recording of an analytics task.
CREATE TABLE ivarecording (
    id         INTEGER PRIMARY KEY,
    task_id    INTEGER DEFAULT 0,
    camera_id  INTEGER DEFAULT 0,
    start_time INTEGER DEFAULT 0,
    stop_time  INTEGER DEFAULT 0,
    path       TEXT    DEFAULT ''
);
