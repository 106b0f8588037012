#include "upgrader/dataaccess/guard.h"

int Guard(DB_INSTANCE db, const std::string& table, const std::vector<std::string>& columns, LogSite site) {
    const int found = columns.empty() ? VGDB::FindTable(db, table) : VGDB::FindColumns(db, table, columns);
    if (found < 0)
        LogMessage(site, "Failed to look up table %s\n", table.c_str());
    return found;
}

int GuardAll(std::initializer_list<NeededTable> tables, LogSite site) {
    for (const auto& [table, columns] : tables)
        if (const int found = Guard(DB_SYSTEM, table, columns, site); found <= 0)
            return found;
    return 1;
}
