-- Log counts.

-- How many log entries of a type a day has (days since 1970-01-01 UTC).
CREATE TABLE logcnt (
    log_type INTEGER DEFAULT 0,
    day      INTEGER DEFAULT 0,
    cnt      INTEGER DEFAULT 0,
    PRIMARY KEY (log_type, day)
);

-- How many log entries of a recording server a day has.
CREATE TABLE logeventcnt (
    ds_id INTEGER DEFAULT 0,
    day   INTEGER DEFAULT 0,
    cnt   INTEGER DEFAULT 0,
    PRIMARY KEY (ds_id, day)
);
