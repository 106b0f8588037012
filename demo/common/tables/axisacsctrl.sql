CREATE TABLE axiscontroller (
    id   INTEGER PRIMARY KEY,
    name TEXT
);

CREATE TABLE axisdoor (
    id            INTEGER PRIMARY KEY,
    controller_id INTEGER,
    name          TEXT
);

CREATE TABLE axiscardholder (
    id   INTEGER PRIMARY KEY,
    name TEXT
);
