-- Archived recordings.

-- A recording that an archive task fetched.
CREATE TABLE archive_recording (
    id             INTEGER PRIMARY KEY,
    task_id        INTEGER DEFAULT 0,
    camera_id      INTEGER DEFAULT 0,
    start_time     INTEGER DEFAULT 0,
    stop_time      INTEGER DEFAULT 0,
    recording_path TEXT    DEFAULT ''
);
