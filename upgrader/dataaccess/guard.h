// Guards: whether what a migration works on is there at all. Old systems lack some of it; the migration then
// has nothing to do:
//
//     if (const int found = Guard(DB_SYSTEM, "camera", {"id", "name"}); found <= 0)
//         return found;
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "platform/vgdb/vgdb.h"
#include "upgrader/log.h"

// Whether the database has the table, with all of the columns: 1 when it does, 0 when it does not. -1 when
// that cannot be told, which is logged at the caller's place: what cannot be read is never taken for absent.
[[nodiscard]] int Guard(DB_INSTANCE db, const std::string& table,
                        const std::vector<std::string>& columns = {}, LogSite site = LogSite::Here());

// The same for several tables of the main database.
struct NeededTable {
    const char* table;
    std::vector<std::string> columns;
};
[[nodiscard]] int GuardAll(std::initializer_list<NeededTable> tables, LogSite site = LogSite::Here());
