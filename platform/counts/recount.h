// Count tables: how many rows another table has, by some of its columns and by day.
#pragma once

#include <string>
#include <vector>

#include "platform/vgdb/vgdb.h"

// The count table has the key columns under their names in the counted table, `day` (days since 1970-01-01
// UTC) and `cnt`. The two may stand in different databases.
struct DayCount {
    DB_INSTANCE countedDb;
    std::string countedTable;
    std::string timeColumn;  // seconds since 1970
    std::vector<std::string> keyColumns;
    DB_INSTANCE countDb;
    std::string countTable;
};

// Makes the count table what the counted rows give, in one transaction; writes nothing when it is that
// already. A NULL key or time counts as 0. Returns 0 on success, also when a database, a table or a column
// does not exist, in which case nothing is done; -1, logged by the database library, when a database cannot
// be read or written.
[[nodiscard]] int RecountByDay(const DayCount& count);
