-- Points of sale.

-- A till and the camera, with its stream, that looks at it.
CREATE TABLE pos (
    id               INTEGER PRIMARY KEY,
    name             TEXT    DEFAULT '',
    pairedcam_id     INTEGER DEFAULT 0,
    pairedcam_stream INTEGER DEFAULT 0
);
