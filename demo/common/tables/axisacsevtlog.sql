CREATE TABLE axisacsevtlog (
    id            INTEGER PRIMARY KEY,
    controller_id INTEGER,
    door_id       INTEGER,
    cardholder_id INTEGER,
    event_type    INTEGER,
    timestamp     INTEGER
);
