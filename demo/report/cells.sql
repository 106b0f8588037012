-- Run on a database: writes the statements that copy its columns and its fields, one a row, into tables col and
-- cell of the report, in which the database is attached as src.
SELECT printf('INSERT INTO col  SELECT :side, :db, %Q, %d, %Q, %Q;',
              t.name, c.cid, c.name, trim(c.dflt_value, ''''))
FROM sqlite_master t, pragma_table_info(t.name) c
WHERE t.type = 'table' AND t.name NOT LIKE 'sqlite\_%' ESCAPE '\';

SELECT printf('INSERT INTO cell SELECT :side, :db, %Q, rowid, %d, %Q, "%w" FROM src."%w";',
              t.name, c.cid, c.name, c.name, t.name)
FROM sqlite_master t, pragma_table_info(t.name) c
WHERE t.type = 'table' AND t.name NOT LIKE 'sqlite\_%' ESCAPE '\';
