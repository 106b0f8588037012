// Operations on tables and whole databases.

#include <utility>

#include "platform/base/library_log.h"
#include "platform/files/file_replacement.h"
#include "platform/vgdb/connection.h"
#include "platform/vgdb/instances.h"
#include "platform/vgdb/rows.h"
#include "platform/vgdb/table_sql.h"
#include "platform/vgdb/vgdb.h"

namespace {

// Whether the query gives a row: 1 or 0, also 0 when there is no database file; -1 when it cannot be told.
int Find(const std::string& dbPath, const std::string& query) {
    if (IsFileMissing(dbPath))
        return 0;
    Rows rows;
    if (Query(dbPath, query, rows))
        return -1;
    const bool found = rows.Count() > 0;
    if (found || !Connection::To(dbPath).IsIncomplete())
        return found ? 1 : 0;
    LibraryLog(__LINE__, "Execute", "%s: lacks what its repair was to create [%s]\n", dbPath.c_str(),
               query.c_str());
    return -1;
}

int FindTable(const std::string& dbPath, const std::string& table) {
    return Find(dbPath, "SELECT 1 FROM sqlite_schema WHERE type = 'table' AND name = " +
                            VGDB::QuoteEscape(table) + " COLLATE NOCASE");
}

int FindColumn(const std::string& dbPath, const std::string& table, const std::string& column) {
    return Find(dbPath, "SELECT 1 FROM pragma_table_xinfo(" + VGDB::QuoteEscape(table) +
                            ") WHERE name = " + VGDB::QuoteEscape(column) + " COLLATE NOCASE");
}

int GetNames(DB_INSTANCE db, const char* type, std::set<std::string>& names) {
    std::list<std::string> found;
    const std::string query = std::string("SELECT name FROM sqlite_schema WHERE type = '") + type +
                              "' AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\'";
    if (VGDB::LoadFieldFromDB(db, query, found))
        return -1;
    names.insert(found.begin(), found.end());
    return 0;
}

}  // namespace

int VGDB::FindTable(DB_INSTANCE db, const std::string& table) { return ::FindTable(GetDBPath(db), table); }

int VGDB::FindColumn(DB_INSTANCE db, const std::string& table, const std::string& column) {
    return ::FindColumn(GetDBPath(db), table, column);
}

int VGDB::FindColumns(DB_INSTANCE db, const std::string& table, const std::vector<std::string>& columns) {
    for (const std::string& column : columns)
        if (const int found = FindColumn(db, table, column); found <= 0)
            return found;
    return 1;
}

bool VGDB::CheckTableExist(const std::string& dbPath, const std::string& table) {
    return ::FindTable(dbPath, table) == 1;
}

bool VGDB::CheckTableExist(DB_INSTANCE db, const std::string& table) { return FindTable(db, table) == 1; }

bool VGDB::IsColumnExist(const std::string& dbPath, const std::string& table, const std::string& column) {
    return ::FindColumn(dbPath, table, column) == 1;
}

bool VGDB::IsColumnExist(DB_INSTANCE db, const std::string& table, const std::string& column) {
    return FindColumn(db, table, column) == 1;
}

int VGDB::GetTables(DB_INSTANCE db, std::set<std::string>& tables) { return GetNames(db, "table", tables); }

int VGDB::GetTriggers(DB_INSTANCE db, std::set<std::string>& triggers) {
    return GetNames(db, "trigger", triggers);
}

int VGDB::DropTable(DB_INSTANCE db, const std::string& table) {
    return Execute(db, "DROP TABLE IF EXISTS " + QuoteName(table) + ";");
}

int VGDB::Vacuum(DB_INSTANCE db) { return Connection::To(GetDBPath(db)).RunAlone("VACUUM;"); }

int VGDB::ExecuteByFile(DB_INSTANCE db, const std::string& sqlPath) {
    std::string sql;
    const int read = ReadWholeFile(sqlPath, sql);
    if (read > 0)
        return Execute(db, std::move(sql));
    if (read == 0)
        VG_LIB_LOG("No file %s\n", sqlPath.c_str());
    return -1;
}

int VGDB::DumpTableToFile(DB_INSTANCE db, const std::string& table, const std::string& sqlPath) {
    const int found = FindTable(db, table);
    if (found == 0)
        VG_LIB_LOG("%s: no table %s to dump\n", GetDBPath(db).c_str(), table.c_str());
    if (found <= 0)
        return -1;
    Connection& connection = Connection::To(GetDBPath(db));
    std::string sql;
    if (AppendTableSql(connection.Handle(), table, sql)) {
        connection.LogFailure(__func__, table.c_str());
        return -1;
    }
    return ReplaceFile(sqlPath, sql, 0600);
}

std::string VGDB::GetIdxName(const std::string& table, const std::list<std::string>& columns) {
    std::string name = "idx_" + table;
    for (const std::string& column : columns)
        name += '_' + column;
    return name;
}

std::string VGDB::GetReturnIdStatement() { return "SELECT last_insert_rowid() AS id;"; }

int VGDB::UniqueKey2PrimaryKey() { return 0; }
