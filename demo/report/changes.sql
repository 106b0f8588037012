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

-- How a row is called: by its name, by its notification type, else by its number.
CREATE TABLE label AS
SELECT DISTINCT f.db, f.tbl, f.row,
       CASE
           WHEN f.tbl IN ('notificationevent', 'notificationschedule') THEN
               'type ' || (SELECT value FROM cell c
                           WHERE c.side = 'after' AND c.db = f.db AND c.tbl = f.tbl AND c.row = f.row
                             AND c.name = 'event_type')
           WHEN f.tbl IN ('privilegepercamera', 'privilegeperdoor') THEN 'profile ' || f.row
           ELSE substr(trim(f.row || ' ' ||
                            coalesce((SELECT value FROM cell c
                                      WHERE c.side = 'after' AND c.db = f.db AND c.tbl = f.tbl
                                        AND c.row = f.row AND c.name = 'name'), '')), 1, 26)
       END AS text
FROM field f;

-- One line for the fields of a row that have changed alike.
CREATE TABLE change AS
SELECT coalesce(topic.place, 9) AS place,
       coalesce(topic.title, 'Other tables') AS title,
       f.db, f.tbl, f.row, min(f.cid) AS cid, label.text AS item,
       min(f.name) || CASE WHEN count(*) > 1 THEN ' +' || (count(*) - 1) ELSE '' END AS name,
       f.old, f.new, f.is_new, f.no_old
FROM field f
     JOIN label ON label.db = f.db AND label.tbl = f.tbl AND label.row = f.row
     LEFT JOIN topic ON topic.tbl = f.tbl
WHERE f.tbl NOT IN ('log', 'eventlabelsetting')  -- in sections of their own
GROUP BY f.db, f.tbl, f.row, f.old, f.new, f.is_new, f.no_old
HAVING topic.place IS NOT NULL OR NOT f.is_new;

-- A new row of another table is one line in all; of many, the first six.
INSERT INTO change
SELECT 9, 'Other tables', db, tbl, row, 0, text, 'row', NULL, fields, 1, 1
FROM (SELECT f.db, f.tbl, f.row, label.text, group_concat(f.name || ' ' || f.new, ', ') AS fields,
             row_number() OVER (PARTITION BY f.db, f.tbl ORDER BY f.row) AS nth
      FROM field f
           JOIN label ON label.db = f.db AND label.tbl = f.tbl AND label.row = f.row
      WHERE f.is_new
        AND f.tbl NOT IN ('log', 'eventlabelsetting')
        AND f.tbl NOT IN (SELECT tbl FROM topic)
      GROUP BY f.db, f.tbl, f.row)
WHERE nth <= 6;

INSERT INTO change
SELECT 9, 'Other tables', db, tbl, 1 << 62, 0, '', '', NULL, (count(DISTINCT row) - 6) || ' more new rows', 1, 1
FROM field
WHERE is_new
  AND tbl NOT IN ('log', 'eventlabelsetting')
  AND tbl NOT IN (SELECT tbl FROM topic)
GROUP BY db, tbl
HAVING count(DISTINCT row) > 6;

-- Event labels, one line a label. A setting that is no array of labels has none.
CREATE VIEW event_label AS
SELECT side, row, j.key AS nth,
       (SELECT value FROM cell k WHERE k.side = c.side AND k.tbl = c.tbl AND k.row = c.row AND k.name = 'event_type')
       || ',' ||
       (SELECT value FROM cell k WHERE k.side = c.side AND k.tbl = c.tbl AND k.row = c.row AND k.name = 'source')
       || ' label ' || j.key AS item,
       json_extract(j.value, '$.background') || CASE json_extract(j.value, '$.enabled') WHEN 1 THEN ' on ' ELSE ' off ' END
       || coalesce(json_extract(j.value, '$.text'), '') AS text
FROM cell c, json_each(CASE WHEN json_valid(c.value) AND json_type(c.value) = 'array' THEN c.value ELSE '[]' END) j
WHERE c.tbl = 'eventlabelsetting' AND c.name = 'setting' AND json_type(j.value) = 'object';

INSERT INTO change
SELECT 4, 'Event labels', 'system', 'eventlabelsetting', n.row, n.nth, n.item, 'colour, state, text', o.text, n.text,
       o.row IS NULL, o.row IS NULL
FROM event_label n
     LEFT JOIN event_label o ON o.side = 'before' AND o.row = n.row AND o.nth = n.nth
WHERE n.side = 'after' AND n.text IS NOT o.text;

-- Long texts are cut to a part around the first difference, followed by their length.
CREATE TABLE line AS
WITH RECURSIVE
    position(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM position WHERE n < 4096),
    cut AS (SELECT *,
                   max(1, CASE WHEN no_old THEN 1
                               ELSE coalesce((SELECT min(n) FROM position WHERE substr(old, n, 1) IS NOT substr(new, n, 1)),
                                             1) END - 8) AS start
            FROM change)
SELECT place, title, db, tbl, row, cid, item, name,
       CASE WHEN no_old THEN '-'
            WHEN old IS NULL THEN 'NULL'
            WHEN old = '' THEN ''''''
            WHEN length(old) <= 32 THEN old
            ELSE iif(start > 1, '…', '') || substr(old, start, 24) || '… [' || length(old) || ']' END AS before,
       CASE WHEN new IS NULL THEN 'NULL'
            WHEN new = '' THEN ''''''
            WHEN length(new) <= 32 THEN new
            ELSE iif(start > 1, '…', '') || substr(new, start, 24) || '… [' || length(new) || ']' END AS after
FROM cut;
