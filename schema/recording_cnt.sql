-- Recording counts.

-- How many rows of table recording a camera has on a day (days since 1970-01-01 UTC, by start_time).
CREATE TABLE recordingcnt (
    ds_id     INTEGER DEFAULT 0,
    camera_id INTEGER DEFAULT 0,
    day       INTEGER DEFAULT 0,
    cnt       INTEGER DEFAULT 0,
    PRIMARY KEY (ds_id, camera_id, day)
);
