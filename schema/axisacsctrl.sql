-- Door controllers, doors and card holders.

CREATE TABLE axiscontroller (
    id    INTEGER PRIMARY KEY,
    ds_id INTEGER DEFAULT 0,
    name  TEXT    DEFAULT ''
);

CREATE TABLE axisdoor (
    id            INTEGER PRIMARY KEY,
    controller_id INTEGER DEFAULT 0,
    name          TEXT    DEFAULT ''
);

CREATE TABLE axiscardholder (
    id                      INTEGER PRIMARY KEY,
    name                    TEXT    DEFAULT '',
    enable_long_access_time INTEGER DEFAULT 0
);
