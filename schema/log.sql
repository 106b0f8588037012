-- User-visible log entries.

-- An entry. params is a JSON array of the values that the log type's text names.
CREATE TABLE log (
    id       INTEGER PRIMARY KEY,
    log_type INTEGER DEFAULT 0,
    user     TEXT    DEFAULT '',
    item_id  INTEGER DEFAULT 0,
    params   TEXT    DEFAULT '',
    ds_id    INTEGER DEFAULT 0,
    log_time INTEGER DEFAULT 0,
    extra    INTEGER DEFAULT 0
);

CREATE INDEX idx_log_log_time ON log (log_time);
