#include "platform/vgdb/table_sql.h"

#include "platform/vgdb/statement.h"
#include "platform/vgdb/vgdb.h"

namespace {

// The statements that made the schema objects of a table, of the types that the condition names.
int AppendSchemaSql(sqlite3* db, const std::string& table, const char* condition, std::string& sql) {
    return ForEachRow(db,
                      "SELECT sql FROM sqlite_schema WHERE tbl_name = " + VGDB::QuoteEscape(table) +
                          " COLLATE NOCASE AND sql IS NOT NULL AND " + condition + " ORDER BY rowid",
                      [&](const Statement& row) { AppendSqlCommand(sql, row.String(0)); });
}

int AppendRowsSql(sqlite3* db, const std::string& table, std::string& sql) {
    std::string names;     // of the columns that can be written
    std::string literals;  // of their values
    const int code = ForEachRow(
        db, "SELECT name FROM pragma_table_xinfo(" + VGDB::QuoteEscape(table) + ") WHERE hidden = 0",
        [&](const Statement& column) {
            const std::string name = QuoteName(column.String(0));
            names += (names.empty() ? "" : ", ") + name;
            literals += (literals.empty() ? "quote(" : " || ', ' || quote(") + name + ")";
        });
    if (code != SQLITE_OK)
        return code;
    return ForEachRow(db, "SELECT " + literals + " FROM " + QuoteName(table), [&](const Statement& row) {
        AppendSqlCommand(sql,
                         "INSERT INTO " + QuoteName(table) + "(" + names + ") VALUES(" + row.String(0) + ")");
    });
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
