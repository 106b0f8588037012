#include "platform/vgdb/table_sql.h"

#include "platform/vgdb/statement.h"
#include "platform/vgdb/vgdb.h"

namespace {

// The statements that made the schema objects of a table, of the types that the condition names.
int AppendSchemaSql(sqlite3* db, const std::string& table, const char* condition, std::string& sql) {
    Statement objects;
    const std::string query = "SELECT sql FROM sqlite_schema WHERE tbl_name = " + VGDB::QuoteEscape(table) +
                              " COLLATE NOCASE AND sql IS NOT NULL AND " + condition + " ORDER BY rowid";
    if (const int code = objects.Prepare(db, query.c_str()))
        return code;
    int code = objects.Step();
    for (; code == SQLITE_ROW; code = objects.Step())
        AppendSqlCommand(sql, objects.String(0));
    return code == SQLITE_DONE ? SQLITE_OK : code;
}

// Columns that can be written, as a list of names and as a list of their values' SQL literals.
int ListColumns(sqlite3* db, const std::string& table, std::string& names, std::string& literals) {
    Statement columns;
    const std::string query =
        "SELECT name FROM pragma_table_xinfo(" + VGDB::QuoteEscape(table) + ") WHERE hidden = 0";
    if (const int code = columns.Prepare(db, query.c_str()))
        return code;
    int code = columns.Step();
    for (; code == SQLITE_ROW; code = columns.Step()) {
        const std::string name = QuoteName(columns.String(0));
        names += (names.empty() ? "" : ", ") + name;
        literals += (literals.empty() ? "quote(" : " || ', ' || quote(") + name + ")";
    }
    return code == SQLITE_DONE ? SQLITE_OK : code;
}

int AppendRowsSql(sqlite3* db, const std::string& table, std::string& sql) {
    std::string names;
    std::string literals;
    if (const int code = ListColumns(db, table, names, literals))
        return code;
    Statement rows;
    const std::string query = "SELECT " + literals + " FROM " + QuoteName(table);
    if (const int code = rows.Prepare(db, query.c_str()))
        return code;
    int code = rows.Step();
    for (; code == SQLITE_ROW; code = rows.Step())
        AppendSqlCommand(
            sql, "INSERT INTO " + QuoteName(table) + "(" + names + ") VALUES(" + rows.String(0) + ")");
    return code == SQLITE_DONE ? SQLITE_OK : code;
}

}  // namespace

std::string QuoteName(const std::string& name) {
    std::string quoted = "\"";
    for (const char c : name) {
        if (c == '"')
            quoted += '"';
        quoted += c;
    }
    return quoted += '"';
}

int AppendTableSql(sqlite3* db, const std::string& table, std::string& sql) {
    int code = AppendSchemaSql(db, table, "type = 'table'", sql);
    if (code == SQLITE_OK)
        code = AppendRowsSql(db, table, sql);
    // Triggers come last, so that they do not fire for the rows.
    if (code == SQLITE_OK)
        code = AppendSchemaSql(db, table, "type IN ('index', 'trigger')", sql);
    return code;
}
