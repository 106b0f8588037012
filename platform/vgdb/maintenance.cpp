// What a database has.
#include <sqlite3.h>

#include <algorithm>

#include "platform/base/package_log.h"
#include "platform/vgdb/connection.h"
#include "platform/vgdb/instances.h"
#include "platform/vgdb/rows.h"
#include "platform/vgdb/vgdb.h"

namespace {

// Whether the repair was to create it, and has not: the table ("*"), or the column of the table.
bool IsLacking(const VGDB::NotRepaired& lacks, const std::string& table, const std::string& column) {
    for (const auto& [name, columns] : lacks.names)
        if (sqlite3_stricmp(name.c_str(), table.c_str()) == 0)
            return std::any_of(columns.begin(), columns.end(), [&column](const std::string& one) {
                return one == "*" || sqlite3_stricmp(one.c_str(), column.c_str()) == 0;
            });
    return lacks.all;
}

// Whether the query gives a row: 1 or 0, also 0 when there is no database file; -1 when it cannot be told.
int Find(DB_INSTANCE db, const std::string& table, const std::string& column, const std::string& query) {
    const std::string path = VGDB::GetDBPath(db);
    if (IsFileMissing(path))
        return 0;
    Rows rows;
    if (Query(path, query, rows))
        return -1;
    if (rows.Count() > 0)
        return 1;
    if (!IsLacking(Connection::To(path).Lacks(), table, column))
        return 0;
    LibraryLog(__LINE__, "Execute", "%s: lacks what its repair was to create: table %s%s%s\n", path.c_str(),
               table.c_str(), column == "*" ? "" : ", column ", column == "*" ? "" : column.c_str());
    return -1;
}

}  // namespace

int VGDB::FindTable(DB_INSTANCE db, const std::string& table) {
    return Find(db, table, "*",
                "SELECT 1 FROM sqlite_schema WHERE type = 'table' AND name = " + QuoteEscape(table) +
                    " COLLATE NOCASE");
}

int VGDB::FindColumn(DB_INSTANCE db, const std::string& table, const std::string& column) {
    return Find(db, table, column,
                "SELECT 1 FROM pragma_table_xinfo(" + QuoteEscape(table) +
                    ") WHERE name = " + QuoteEscape(column) + " COLLATE NOCASE");
}

int VGDB::FindColumns(DB_INSTANCE db, const std::string& table, const std::vector<std::string>& columns) {
    for (const std::string& column : columns)
        if (const int found = FindColumn(db, table, column); found <= 0)
            return found;
    return 1;
}

std::string VGDB::GetIdxName(const std::string& table, const std::list<std::string>& columns) {
    std::string name = "idx_" + table;
    for (const std::string& column : columns)
        name += '_' + column;
    return name;
}

int VGDB::UniqueKey2PrimaryKey() { return 0; }
