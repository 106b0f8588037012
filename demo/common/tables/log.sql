CREATE TABLE log (
    id       INTEGER PRIMARY KEY,
    log_type INTEGER,
    user     TEXT,
    item_id  INTEGER,
    params   TEXT,
    ds_id    INTEGER DEFAULT 0,
    log_time INTEGER
);
