-- Point-of-sale transactions.

-- A sale at a till.
CREATE TABLE postransaction (
    id         INTEGER PRIMARY KEY,
    pos_id     INTEGER DEFAULT 0,
    start_time INTEGER DEFAULT 0,
    stop_time  INTEGER DEFAULT 0,
    content    TEXT    DEFAULT ''
);
