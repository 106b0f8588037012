CREATE TABLE pos (
    id               INTEGER PRIMARY KEY,
    name             TEXT,
    pairedcam_id     INTEGER,
    pairedcam_stream INTEGER
);
