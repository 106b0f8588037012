-- Edge-storage clips.

-- A clip on a camera's own storage.
CREATE TABLE edgevideoclip (
    id         INTEGER PRIMARY KEY,
    camera_id  INTEGER DEFAULT 0,
    start_time INTEGER DEFAULT 0,
    stop_time  INTEGER DEFAULT 0,
    status     INTEGER DEFAULT 0
);
