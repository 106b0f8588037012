-- Bookmarks.

-- A moment of a recording that a user marked.
CREATE TABLE bookmark (
    id         INTEGER PRIMARY KEY,
    camera_id  INTEGER DEFAULT 0,
    name       TEXT    DEFAULT '',
    start_time INTEGER DEFAULT 0,
    stop_time  INTEGER DEFAULT 0
);
