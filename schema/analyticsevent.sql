-- Analytics events.

-- What an analytics task saw.
CREATE TABLE analyticsEvent (
    id              INTEGER PRIMARY KEY,
    ds_id           INTEGER DEFAULT 0,
    camera_id       INTEGER DEFAULT 0,
    event_type      INTEGER DEFAULT 0,
    start_time      INTEGER DEFAULT 0,
    stop_time       INTEGER DEFAULT 0,
    snapshot_small  TEXT    DEFAULT '',
    snapshot_medium TEXT    DEFAULT ''
);
