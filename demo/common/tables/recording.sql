CREATE TABLE recording (
    id               INTEGER PRIMARY KEY,
    ds_id            INTEGER DEFAULT 0,
    id_on_rec_server INTEGER DEFAULT 0,
    camera_id        INTEGER DEFAULT 0,
    start_time       INTEGER DEFAULT 0,
    stop_time        INTEGER DEFAULT 0,
    recording        INTEGER DEFAULT 0,
    mark_as_del      INTEGER DEFAULT 0,
    path             TEXT
);

CREATE TABLE event (
    id         INTEGER PRIMARY KEY,
    camera_id  INTEGER,
    event_type INTEGER,
    start_time INTEGER,
    stop_time  INTEGER,
    path       TEXT
);

CREATE TABLE alertevent (
    id         INTEGER PRIMARY KEY,
    camera_id  INTEGER,
    event_type INTEGER,
    start_time INTEGER
);
