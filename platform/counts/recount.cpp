#include "platform/counts/recount.h"

#include <filesystem>
#include <list>
#include <set>
#include <system_error>

namespace {

// Returns 1 when the table has all the columns, 0 when it does not, -1 when the database cannot be read.
int HasColumns(DB_INSTANCE db, const std::string& table, const std::vector<std::string>& columns) {
    std::error_code error;
    if (!std::filesystem::exists(VGDB::GetDBPath(db), error) && !error)
        return 0;
    std::set<std::string> tables;
    if (VGDB::GetTables(db, tables))
        return -1;
    if (!tables.contains(table))
        return 0;
    for (const std::string& column : columns) {
        if (!VGDB::IsColumnExist(db, table, column))
            return 0;
    }
    return 1;
}

std::vector<std::string> With(std::vector<std::string> columns, std::initializer_list<std::string> more) {
    columns.insert(columns.end(), more);
    return columns;
}

// Old builds and repairs have left NULLs, and SQLite lets an integer column hold text.
std::string AsInteger(const std::string& column) { return "IFNULL(CAST(" + column + " AS INTEGER), 0)"; }

// One text a row, "KEY,...,DAY,CNT", as it stands between the parentheses of VALUES.
std::string CountedQuery(const DayCount& count) {
    std::string row;
    for (const std::string& key : count.keyColumns)
        row += AsInteger(key) + " || ',' || ";
    row += "(" + AsInteger(count.timeColumn) + " / 86400)";
    return "SELECT keys || ',' || COUNT(*) FROM (SELECT " + row + " AS keys FROM " + count.countedTable +
           ") GROUP BY keys ORDER BY 1;";
}

std::string PresentQuery(const DayCount& count) {
    std::string row;
    for (const std::string& key : count.keyColumns)
        row += key + " || ',' || ";
    return "SELECT " + row + "day || ',' || cnt FROM " + count.countTable + " ORDER BY 1;";
}

std::string ReplaceSql(const DayCount& count, const std::list<std::string>& rows) {
    std::string sql;
    AppendSqlCommand(sql, "DELETE FROM " + count.countTable);
    if (rows.empty())
        return sql;
    std::string insert = "INSERT INTO " + count.countTable + "(";
    for (const std::string& key : count.keyColumns)
        insert += key + ", ";
    insert += "day, cnt) VALUES";
    const char* separator = "(";
    for (const std::string& row : rows) {
        insert += separator + row + ")";
        separator = ", (";
    }
    AppendSqlCommand(sql, insert);
    return sql;
}

}  // namespace

int RecountByDay(const DayCount& count) {
    const int counted =
        HasColumns(count.countedDb, count.countedTable, With(count.keyColumns, {count.timeColumn}));
    const int countable = HasColumns(count.countDb, count.countTable, With(count.keyColumns, {"day", "cnt"}));
    if (counted <= 0 || countable <= 0)
        return counted < 0 || countable < 0 ? -1 : 0;

    std::list<std::string> rows;
    std::list<std::string> present;
    if (VGDB::LoadFieldFromDB(count.countedDb, CountedQuery(count), rows) ||
        VGDB::LoadFieldFromDB(count.countDb, PresentQuery(count), present))
        return -1;
    return rows == present ? 0 : VGDB::Execute(count.countDb, ReplaceSql(count, rows));
}
