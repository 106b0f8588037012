-- Door event log.

-- Something that happened at a door.
CREATE TABLE axisacsevtlog (
    id            INTEGER PRIMARY KEY,
    controller_id INTEGER DEFAULT 0,
    door_id       INTEGER DEFAULT 0,
    cardholder_id INTEGER DEFAULT 0,
    event_type    INTEGER DEFAULT 0,
    timestamp     INTEGER DEFAULT 0
);

CREATE INDEX idx_axisacsevtlog_timestamp ON axisacsevtlog (timestamp);

-- How many rows of axisacsevtlog a controller has on a day (days since 1970-01-01 UTC).
CREATE TABLE axisacsevtlogcnt (
    controller_id INTEGER DEFAULT 0,
    day           INTEGER DEFAULT 0,
    cnt           INTEGER DEFAULT 0,
    PRIMARY KEY (controller_id, day)
);
