#include "platform/package/counts.h"

#include <initializer_list>
#include <list>
#include <string>
#include <vector>

#include "platform/base/package_log.h"
#include "platform/vgdb/vgdb.h"

namespace {

// The count table has the key columns under their names in the counted table, `day` and `cnt`. The two may stand in
// different databases.
struct DayCount {
    DB_INSTANCE countedDb;
    std::string countedTable;
    std::string timeColumn;  // seconds since 1970
    std::vector<std::string> keyColumns;
    DB_INSTANCE countDb;
    std::string countTable;
};

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

// SQLite holds a statement of many rows as a tree of many times its text.
constexpr size_t kRowsOfStatement = 1'000;

std::string ReplaceSql(const DayCount& count, const std::list<std::string>& rows) {
    std::string insert = "INSERT INTO " + count.countTable + "(";
    for (const std::string& key : count.keyColumns)
        insert += key + ", ";
    insert += "day, cnt) VALUES";
    std::string sql = "DELETE FROM " + count.countTable;
    size_t number = 0;
    for (const std::string& row : rows) {
        sql += number++ % kRowsOfStatement == 0 ? ";\n" + insert : ", ";
        sql += "(" + row + ")";
    }
    return sql + ";";
}

int RecountByDay(const DayCount& count) {
    const int counted =
        VGDB::FindColumns(count.countedDb, count.countedTable, With(count.keyColumns, {count.timeColumn}));
    const int countable =
        VGDB::FindColumns(count.countDb, count.countTable, With(count.keyColumns, {"day", "cnt"}));
    if (counted <= 0 || countable <= 0)
        return counted < 0 || countable < 0 ? -1 : 0;

    std::list<std::string> rows;
    std::list<std::string> present;
    if (VGDB::LoadFieldFromDB(count.countedDb, CountedQuery(count), rows) ||
        VGDB::LoadFieldFromDB(count.countDb, PresentQuery(count), present))
        return -1;
    return rows == present ? 0 : VGDB::Execute(count.countDb, ReplaceSql(count, rows));
}

int RecountLog(const char* keyColumn, const char* countTable) {
    return RecountByDay({.countedDb = DB_LOG,
                         .countedTable = "log",
                         .timeColumn = "log_time",
                         .keyColumns = {keyColumn},
                         .countDb = DB_LOG_CNT,
                         .countTable = countTable});
}

}  // namespace

int RecordingCount::Recount() {
    return RecountByDay({.countedDb = DB_RECORDING,
                         .countedTable = "recording",
                         .timeColumn = "start_time",
                         .keyColumns = {"ds_id", "camera_id"},
                         .countDb = DB_RECORDING_CNT,
                         .countTable = "recordingcnt"});
}

int LogCount::Recount() { return RecountLog("log_type", "logcnt"); }

int VGLogEvent::Recount() { return RecountLog("ds_id", "logeventcnt"); }

int AxisAcsLog::Recount() {
    if (RecountByDay({.countedDb = DB_AXISACSEVTLOG,
                      .countedTable = "axisacsevtlog",
                      .timeColumn = "timestamp",
                      .keyColumns = {"controller_id"},
                      .countDb = DB_AXISACSEVTLOG,
                      .countTable = "axisacsevtlogcnt"}) == 0)
        return 0;
    VG_LIB_LOG("Failed to count the door events anew\n");
    return -1;
}
