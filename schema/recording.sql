-- Recordings and recorded events.

-- A recording of a camera. id_on_rec_server is its id on the recording server that holds it.
CREATE TABLE recording (
    id               INTEGER PRIMARY KEY,
    ds_id            INTEGER DEFAULT 0,
    id_on_rec_server INTEGER DEFAULT 0,
    camera_id        INTEGER DEFAULT 0,
    start_time       INTEGER DEFAULT 0,
    stop_time        INTEGER DEFAULT 0,
    update_time      INTEGER DEFAULT 0,
    recording        INTEGER DEFAULT 0,   -- 1 while it is being written
    archived         INTEGER DEFAULT 0,
    mark_as_del      INTEGER DEFAULT 0,
    path             TEXT    DEFAULT ''
);

CREATE INDEX idx_recording_update_time ON recording (update_time);
CREATE INDEX idx_recording_start_time ON recording (start_time);
CREATE INDEX idx_recording_stop_time ON recording (stop_time);
CREATE INDEX idx_recording_id_on_rec_server ON recording (id_on_rec_server);
CREATE INDEX idx_recording_ds_id ON recording (ds_id) WHERE ds_id = 0;
CREATE INDEX idx_recording_recording ON recording (recording) WHERE recording = 1;
CREATE INDEX idx_recording_archived ON recording (archived) WHERE archived = 1;
CREATE INDEX idx_recording_mark_as_del ON recording (mark_as_del) WHERE mark_as_del = 1;

-- A recorded event. The snapshots are its thumbnails.
CREATE TABLE event (
    id              INTEGER PRIMARY KEY,
    ds_id           INTEGER DEFAULT 0,
    camera_id       INTEGER DEFAULT 0,
    event_type      INTEGER DEFAULT 0,
    start_time      INTEGER DEFAULT 0,
    stop_time       INTEGER DEFAULT 0,
    path            TEXT    DEFAULT '',
    snapshot_small  TEXT    DEFAULT '',
    snapshot_medium TEXT    DEFAULT ''
);

-- An event of a recording that was mounted from elsewhere.
CREATE TABLE eventmount (
    id         INTEGER PRIMARY KEY,
    camera_id  INTEGER DEFAULT 0,
    event_type INTEGER DEFAULT 0,
    start_time INTEGER DEFAULT 0,
    stop_time  INTEGER DEFAULT 0,
    path       TEXT    DEFAULT ''
);

-- An event that raised an alert.
CREATE TABLE alertevent (
    id              INTEGER PRIMARY KEY,
    ds_id           INTEGER DEFAULT 0,
    camera_id       INTEGER DEFAULT 0,
    event_type      INTEGER DEFAULT 0,
    start_time      INTEGER DEFAULT 0,
    stop_time       INTEGER DEFAULT 0,
    snapshot_small  TEXT    DEFAULT '',
    snapshot_medium TEXT    DEFAULT ''
);
