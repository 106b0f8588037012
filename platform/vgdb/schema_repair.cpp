// What a database lacks of its schema file.
//
//   1. Load the schema file into a database in memory: what it declares.
//   2. For each declared table that the database lacks: the SQL that makes it, its first rows included.
//   3. For each declared column that its table lacks: the ALTER TABLE that adds it.
//
// Tables and columns that are there, and whatever the database has beyond its schema file, stay as they are.

#include <algorithm>
#include <cctype>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "platform/files/file_io.h"
#include "platform/log/library_log.h"
#include "platform/vgdb/connection.h"
#include "platform/vgdb/statement.h"
#include "platform/vgdb/table_sql.h"
#include "platform/vgdb/vgdb.h"

namespace {

constexpr const char* kLiteralWords[] = {"NULL", "TRUE", "FALSE"};

struct Column {
    std::string name;
    std::string type;
    std::optional<std::string> defaultSql;
    bool notNull = false;
    bool inPrimaryKey = false;
    bool generated = false;
};

// True when the query gives a row. A query that fails gives none.
bool HasRow(sqlite3* db, const std::string& query) {
    Statement statement;
    return statement.Prepare(db, query.c_str()) == SQLITE_OK && statement.Step() == SQLITE_ROW;
}

bool IsUnique(sqlite3* declared, const std::string& table, const std::string& column) {
    return HasRow(declared, "SELECT 1 FROM pragma_index_list(" + VGDB::QuoteEscape(table) +
                                ") AS i, pragma_index_info(i.name) AS c WHERE i.origin = 'u' AND c.name = " +
                                VGDB::QuoteEscape(column) + " COLLATE NOCASE");
}

// Whether the text is one quoted literal from its first character to its last.
bool IsQuoted(const std::string& sql, char quote) {
    size_t end = sql.find(quote, 1);
    while (end != std::string::npos && end + 1 < sql.size() && sql[end + 1] == quote)
        end = sql.find(quote, end + 2);
    return end != std::string::npos && end + 1 == sql.size();
}

// A literal or a signed number; anything else is an expression, which SQLite works out for each new row.
bool IsLiteral(const std::string& sql) {
    const char first = sql.front();
    if (first == '\'' || first == '"')
        return IsQuoted(sql, first);
    if (std::isdigit(static_cast<unsigned char>(first)) || first == '-' || first == '+' || first == '.')
        return std::all_of(sql.begin() + 1, sql.end(),
                           [](unsigned char c) { return std::isalnum(c) || c == '.'; });
    return std::any_of(std::begin(kLiteralWords), std::end(kLiteralWords),
                       [&sql](const char* word) { return sqlite3_stricmp(sql.c_str(), word) == 0; });
}

// Whether the table is there; with a column, whether the table has it. Asks the schema that SQLite has
// loaded, which compares names as every statement does and costs no statement.
bool Has(sqlite3* db, const std::string& table, const char* column) {
    return sqlite3_table_column_metadata(db, "main", table.c_str(), column, nullptr, nullptr, nullptr,
                                         nullptr, nullptr) == SQLITE_OK;
}

int ListTables(sqlite3* db, std::vector<std::string>& tables) {
    Statement rows;
    if (const int code = rows.Prepare(db,
                                      "SELECT name FROM sqlite_schema"
                                      " WHERE type = 'table' AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\'"
                                      " ORDER BY rowid"))
        return code;
    int code = rows.Step();
    for (; code == SQLITE_ROW; code = rows.Step())
        tables.push_back(rows.String(0));
    return code == SQLITE_DONE ? SQLITE_OK : code;
}

int ListMissingColumns(sqlite3* declared, sqlite3* db, const std::string& table,
                       std::vector<std::string>& missing) {
    Statement row;
    const std::string all = "SELECT * FROM " + QuoteName(table);
    if (const int code = row.Prepare(declared, all.c_str()))
        return code;
    for (int i = 0; i < sqlite3_column_count(row.Get()); ++i) {
        const char* const name = sqlite3_column_name(row.Get(), i);
        if (!Has(db, table, name))
            missing.emplace_back(name);
    }
    return SQLITE_OK;
}

int Describe(sqlite3* declared, const std::string& table, const std::string& name, Column& column) {
    Statement row;
    const std::string query = "SELECT type, dflt_value, \"notnull\", pk, hidden FROM pragma_table_xinfo(" +
                              VGDB::QuoteEscape(table) + ") WHERE name = " + VGDB::QuoteEscape(name);
    if (const int code = row.Prepare(declared, query.c_str()))
        return code;
    if (const int code = row.Step(); code != SQLITE_ROW)
        return code;
    column.name = name;
    column.type = row.String(0);
    if (row.Text(1))
        column.defaultSql = row.String(1);
    column.notNull = row.Int(2) != 0;
    column.inPrimaryKey = row.Int(3) != 0;
    column.generated = row.Int(4) != 0;
    return SQLITE_OK;
}

// Why SQLite cannot add the column to the table as it stands; null when it can.
const char* WhyNotAddable(sqlite3* declared, sqlite3* db, const std::string& table, const Column& column) {
    if (column.inPrimaryKey)
        return "it belongs to the primary key";
    if (column.generated)
        return "it is generated";
    if (IsUnique(declared, table, column.name))
        return "it is unique";
    const bool defaultIsNull = !column.defaultSql || sqlite3_stricmp(column.defaultSql->c_str(), "NULL") == 0;
    const bool needsEmptyTable =
        (column.notNull && defaultIsNull) || (column.defaultSql && !IsLiteral(*column.defaultSql));
    if (needsEmptyTable && HasRow(db, "SELECT 1 FROM " + QuoteName(table) + " LIMIT 1"))
        return "the rows that are there would have no value for it";
    return nullptr;
}

std::string AddColumnSql(sqlite3* declared, const std::string& table, const Column& column) {
    std::string sql = "ALTER TABLE " + QuoteName(table) + " ADD COLUMN " + QuoteName(column.name);
    if (!column.type.empty())
        sql += ' ' + column.type;
    if (column.notNull)
        sql += " NOT NULL";
    if (column.defaultSql)
        sql += " DEFAULT " +
               (IsLiteral(*column.defaultSql) ? *column.defaultSql : "(" + *column.defaultSql + ")");
    const char* collation = nullptr;
    sqlite3_table_column_metadata(declared, nullptr, table.c_str(), column.name.c_str(), nullptr, &collation,
                                  nullptr, nullptr, nullptr);
    if (collation && sqlite3_stricmp(collation, "BINARY") != 0)
        sql += " COLLATE " + QuoteName(collation);
    return sql;
}

int LoadDeclared(const std::string& sqlFile, SqliteHandle& declared) {
    std::string text;
    const int read = ReadWholeFile(sqlFile, text);
    if (read <= 0) {
        if (read == 0)
            VG_LIB_LOG("No schema file %s\n", sqlFile.c_str());
        return -1;
    }
    sqlite3* db = nullptr;
    const int opened = OpenSqlite(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, &db);
    declared.reset(db);
    if (opened != SQLITE_OK || sqlite3_exec(db, text.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        VG_LIB_LOG("Schema file %s: %s\n", sqlFile.c_str(), sqlite3_errmsg(db));
        return -1;
    }
    return 0;
}

// Appends the statements that add the missing columns of a table. A column that cannot be added is logged and
// makes the result -1; the others are looked at all the same, so that the log names every one.
int AppendMissingColumns(sqlite3* declared, sqlite3* db, const std::string& dbPath, const std::string& table,
                         std::string& sql, VGDB::MissingNames& missing) {
    std::vector<std::string> names;
    if (ListMissingColumns(declared, db, table, names))
        return -1;
    int result = 0;
    for (const std::string& name : names) {
        missing[table].insert(name);
        Column column;
        if (Describe(declared, table, name, column))
            return -1;
        if (const char* const why = WhyNotAddable(declared, db, table, column)) {
            LibraryLog(__LINE__, "GetMissingSql", "%s: cannot add column %s to table %s: %s\n",
                       dbPath.c_str(), name.c_str(), table.c_str(), why);
            result = -1;
        } else {
            AppendSqlCommand(sql, AddColumnSql(declared, table, column));
        }
    }
    return result;
}

}  // namespace

int VGDB::GetMissingSql(const std::string& dbPath, const std::string& sqlFile, std::string& sql,
                        MissingNames& missing) {
    SqliteHandle declared;
    if (LoadDeclared(sqlFile, declared))
        return -1;
    Connection& connection = Connection::To(dbPath);
    sqlite3* const db = connection.Handle();
    if (!db)
        return -1;
    std::vector<std::string> tables;
    if (ListTables(declared.get(), tables)) {
        VG_LIB_LOG("Schema file %s: %s\n", sqlFile.c_str(), sqlite3_errmsg(declared.get()));
        return -1;
    }
    // Loads the schema of the database; what is wrong with the file shows here.
    if (connection.ReadSchema() != SQLITE_OK)
        return -1;

    int result = 0;
    for (const std::string& table : tables) {
        if (!Has(db, table, nullptr)) {
            missing[table].insert("*");
            if (AppendTableSql(declared.get(), table, sql))
                result = -1;
        } else if (AppendMissingColumns(declared.get(), db, dbPath, table, sql, missing)) {
            result = -1;
        }
    }
    return result;
}
