-- What differs between the two sides of tables col and cell, as table change: a line of the report each.

CREATE INDEX cell_place ON cell (side, db, tbl, row, name COLLATE NOCASE);
CREATE INDEX col_place  ON col  (side, db, tbl, name COLLATE NOCASE);

-- Fields that differ. A field of a new row or of a new column counts only when it does not hold the column's
-- default; a deleted row stands as one line.
CREATE TABLE field AS
SELECT n.db, n.tbl, n.row, n.cid, n.name,
       o.value AS old,
       n.value AS new,
       NOT EXISTS (SELECT 1 FROM cell r
                   WHERE r.side = 'before' AND r.db = n.db AND r.tbl = n.tbl AND r.row = n.row) AS is_new,
       o.row IS NULL AS no_old
FROM cell n
     JOIN col c ON c.side = 'after' AND c.db = n.db AND c.tbl = n.tbl AND c.name = n.name
     LEFT JOIN cell o ON o.side = 'before' AND o.db = n.db AND o.tbl = n.tbl AND o.row = n.row
                         AND o.name = n.name COLLATE NOCASE
WHERE n.side = 'after'
  AND CASE WHEN o.row IS NULL THEN CAST(n.value AS TEXT) IS NOT c.fallback
           ELSE n.value IS NOT o.value END
UNION ALL
SELECT DISTINCT db, tbl, row, 0, 'row', 'there', 'deleted', 0, 0
FROM cell o
WHERE side = 'before'
  AND NOT EXISTS (SELECT 1 FROM cell n WHERE n.side = 'after' AND n.db = o.db AND n.tbl = o.tbl AND n.row = o.row);

CREATE TABLE topic (place INTEGER, title TEXT, tbl TEXT);
INSERT INTO topic VALUES
    (1, 'Privileges',    'privilegeprofile'),
    (1, 'Privileges',    'privilegepercamera'),
    (1, 'Privileges',    'privilegeperdoor'),
    (1, 'Privileges',    'account'),
    (2, 'Cameras',       'camera'),
    (3, 'Notifications', 'notificationevent'),
    (3, 'Notifications', 'notificationschedule'),
    (3, 'Notifications', 'notification'),
    (3, 'Notifications', 'notificationpushservice'),
    (3, 'Notifications', 'homemodenotifyfilter');

-- How a row is called: alone, and among others that have changed alike.
CREATE TABLE label AS
SELECT db, tbl, row,
       CASE
           WHEN type IS NOT NULL             THEN 'type ' || type
           WHEN tbl LIKE 'privilegeper%'     THEN 'profile ' || row
           WHEN name IS NOT NULL             THEN substr(trim(row || ' ' || name), 1, 24)
           ELSE 'row ' || row
       END AS alone,
       CASE
           WHEN type IS NOT NULL             THEN 'types '
           WHEN tbl LIKE 'privilegeper%'     THEN 'profiles '
           ELSE ''
       END AS kind,
       coalesce(type, row) AS number
FROM (SELECT DISTINCT f.db, f.tbl, f.row,
             (SELECT value FROM cell c
              WHERE c.side = 'after' AND c.db = f.db AND c.tbl = f.tbl AND c.row = f.row
                AND c.name = 'name') AS name,
             (SELECT value FROM cell c
              WHERE c.side = 'after' AND c.db = f.db AND c.tbl = f.tbl AND c.row = f.row
                AND c.name = 'event_type'
                AND f.tbl IN ('notificationevent', 'notificationschedule')) AS type
      FROM field f);

-- Fields that are the row's own name or number tell nothing more.
CREATE VIEW told AS
SELECT f.*, label.alone, label.kind, label.number
FROM field f JOIN label USING (db, tbl, row)
WHERE NOT (f.is_new AND f.new = label.number AND f.name IN ('id', 'event_type', 'privprofile_id'))
  AND f.tbl NOT IN ('log', 'eventlabelsetting');  -- in sections of their own

-- One line for the fields of a row that have changed alike, and for rows of which that is so.
CREATE TABLE change AS
SELECT coalesce(topic.place, 9) AS place,
       coalesce(topic.title, 'Other tables') AS title,
       db, tbl, min(row) AS row, cid,
       CASE WHEN count(*) = 1 THEN alone ELSE kind || group_concat(number, ', ') END AS item,
       name, old, new, is_new, no_old
FROM (SELECT db, tbl, row, min(cid) AS cid, alone, kind, number,
             name || CASE WHEN count(*) > 1 THEN ' +' || (count(*) - 1) ELSE '' END AS name,
             old, new, is_new, no_old
      FROM (SELECT * FROM told ORDER BY db, tbl, row, cid)
      GROUP BY db, tbl, row, old, new, is_new, no_old
      ORDER BY db, tbl, row)
     LEFT JOIN topic USING (tbl)
WHERE topic.place IS NOT NULL OR NOT is_new
GROUP BY db, tbl, cid, name, old, new, is_new, no_old;

-- A new row of another table is one line in all; of many, the first six.
INSERT INTO change
SELECT 9, 'Other tables', db, tbl, row, 0, alone, '', NULL, fields, 1, 1
FROM (SELECT db, tbl, row, alone, group_concat(name || ' ' || new, ', ') AS fields,
             row_number() OVER (PARTITION BY db, tbl ORDER BY row) AS nth
      FROM told
      WHERE is_new AND tbl NOT IN (SELECT tbl FROM topic)
      GROUP BY db, tbl, row)
WHERE nth <= 6;

INSERT INTO change
SELECT 9, 'Other tables', db, tbl, 1 << 62, 0, '', '', NULL, 'and ' || (count(DISTINCT row) - 6) || ' more', 1, 1
FROM told
WHERE is_new AND tbl NOT IN (SELECT tbl FROM topic)
GROUP BY db, tbl
HAVING count(DISTINCT row) > 6;

-- Event labels, one line a label. A setting that is no array of labels has none.
CREATE VIEW event_label AS
SELECT side, row, j.key AS nth,
       'event ' ||
       (SELECT value FROM cell k
        WHERE k.side = c.side AND k.tbl = c.tbl AND k.row = c.row AND k.name = 'event_type') ||
       ', source ' ||
       (SELECT value FROM cell k
        WHERE k.side = c.side AND k.tbl = c.tbl AND k.row = c.row AND k.name = 'source') AS setting,
       json_extract(j.value, '$.background') ||
       iif(json_extract(j.value, '$.enabled'), ' on ', ' off ') ||
       coalesce(json_extract(j.value, '$.text'), '') AS text
FROM cell c,
     json_each(CASE WHEN json_valid(c.value) AND json_type(c.value) = 'array' THEN c.value ELSE '[]' END) j
WHERE c.tbl = 'eventlabelsetting' AND c.name = 'setting' AND json_type(j.value) = 'object';

INSERT INTO change
SELECT 4, 'Event labels', 'system', 'eventlabelsetting', n.row, n.nth,
       n.setting, 'label ' || (n.nth + 1), o.text, n.text,
       0, o.row IS NULL
FROM event_label n
     LEFT JOIN event_label o ON o.side = 'before' AND o.row = n.row AND o.nth = n.nth
WHERE n.side = 'after' AND n.text IS NOT o.text;

-- Long texts are cut to a part around the first difference (in a new text, the first character that is another
-- than its first), followed by their length.
CREATE TABLE line AS
WITH RECURSIVE
    position(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM position WHERE n < 4096),
    part AS (
        SELECT *,
               iif(no_old, length(new), min(length(old), length(new))) AS shorter,
               (SELECT min(n) FROM position
                WHERE n <= max(length(new), coalesce(length(old), 0))
                  AND CASE WHEN no_old THEN n <= length(new) AND substr(new, 1, 1) <> substr(new, n, 1)
                           ELSE substr(old, n, 1) <> substr(new, n, 1) END) AS difference
        FROM change),
    cut AS (SELECT *, max(1, min(coalesce(difference, 1) - 8, shorter - 20)) AS start FROM part)
SELECT place, title, db, tbl, row, cid,
       CASE WHEN length(item) <= 24 THEN item ELSE substr(item, 1, 23) || '…' END AS item,
       name,
       CASE WHEN is_new           THEN 'new row'
            WHEN no_old           THEN 'new column'
            WHEN old IS NULL      THEN 'NULL'
            WHEN old = ''         THEN ''''''
            WHEN length(old) < 32 THEN old
            ELSE iif(start > 1, '…', '') || substr(old, start, 21) || iif(start + 20 < length(old), '…', '') ||
                 ' [' || length(old) || ']'
       END AS before,
       CASE WHEN new IS NULL      THEN 'NULL'
            WHEN new = ''         THEN ''''''
            WHEN length(new) < 32 THEN new
            ELSE iif(start > 1, '…', '') || substr(new, start, 21) || iif(start + 20 < length(new), '…', '') ||
                 ' [' || length(new) || ']'
       END AS after
FROM cut;
