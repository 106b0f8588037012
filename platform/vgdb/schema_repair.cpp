// What a database lacks of its schema file.
//
//   1. Load the schema file into a database in memory: what it declares.
//   2. Read the tables and columns of both databases.
//   3. For each declared table that is not there: the SQL that makes it, its first rows included.
//   4. For each declared column that its table lacks: the ALTER TABLE that adds it.
//
// Tables and columns that are there, and whatever the database has beyond its schema file, stay as they are.

#include <algorithm>
#include <cctype>
#include <map>
#include <optional>
#include <vector>

#include "platform/log/library_log.h"
#include "platform/settings/file_rewrite.h"
#include "platform/vgdb/connection.h"
#include "platform/vgdb/statement.h"
#include "platform/vgdb/table_sql.h"
#include "platform/vgdb/vgdb.h"

namespace {

struct LessNoCase {
    bool operator()(const std::string& a, const std::string& b) const {
        return sqlite3_stricmp(a.c_str(), b.c_str()) < 0;
    }
};

constexpr const char* kLiteralWords[] = {"NULL", "TRUE", "FALSE"};

struct Column {
    std::string name;
    std::string type;
    std::optional<std::string> defaultSql;
    bool notNull = false;
    bool inPrimaryKey = false;
    bool generated = false;
};

// Columns by table, tables by name, as SQLite compares names.
using Tables = std::map<std::string, std::vector<Column>, LessNoCase>;

int ReadTables(sqlite3* db, Tables& tables) {
    Statement rows;
    const int prepared =
        rows.Prepare(db,
                     "SELECT t.name, c.name, c.type, c.dflt_value, c.\"notnull\", c.pk, c.hidden"
                     " FROM sqlite_schema AS t, pragma_table_xinfo(t.name) AS c"
                     " WHERE t.type = 'table' AND t.name NOT LIKE 'sqlite\\_%' ESCAPE '\\'"
                     " ORDER BY t.rowid, c.cid");
    if (prepared != SQLITE_OK)
        return prepared;
    int code = rows.Step();
    for (; code == SQLITE_ROW; code = rows.Step()) {
        Column column;
        column.name = rows.String(1);
        column.type = rows.String(2);
        if (rows.Text(3))
            column.defaultSql = rows.String(3);
        column.notNull = rows.Int(4) != 0;
        column.inPrimaryKey = rows.Int(5) != 0;
        column.generated = rows.Int(6) != 0;
        tables[rows.String(0)].push_back(std::move(column));
    }
    return code == SQLITE_DONE ? SQLITE_OK : code;
}

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
    const FileRead read = ReadWholeFile(sqlFile, text);
    if (read != FileRead::kRead) {
        if (read == FileRead::kMissing)
            VG_LIB_LOG("No schema file %s\n", sqlFile.c_str());
        return -1;
    }
    sqlite3* db = nullptr;
    const int opened = sqlite3_open(":memory:", &db);
    declared.reset(db);
    if (opened != SQLITE_OK || sqlite3_exec(db, text.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        VG_LIB_LOG("Schema file %s: %s\n", sqlFile.c_str(), sqlite3_errmsg(db));
        return -1;
    }
    return 0;
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

    Tables wanted;
    Tables present;
    if (ReadTables(declared.get(), wanted)) {
        VG_LIB_LOG("Schema file %s: %s\n", sqlFile.c_str(), sqlite3_errmsg(declared.get()));
        return -1;
    }
    if (ReadTables(db, present)) {
        connection.LogFailure(__func__, "read the schema");
        return -1;
    }

    int result = 0;
    for (const auto& [table, columns] : wanted) {
        const auto found = present.find(table);
        if (found == present.end()) {
            missing[table].insert("*");
            if (AppendTableSql(declared.get(), table, sql))
                result = -1;
            continue;
        }
        for (const Column& column : columns) {
            const bool there =
                std::any_of(found->second.begin(), found->second.end(), [&column](const Column& other) {
                    return sqlite3_stricmp(other.name.c_str(), column.name.c_str()) == 0;
                });
            if (there)
                continue;
            missing[table].insert(column.name);
            if (const char* const why = WhyNotAddable(declared.get(), db, table, column)) {
                VG_LIB_LOG("%s: cannot add column %s to table %s: %s\n", dbPath.c_str(), column.name.c_str(),
                           table.c_str(), why);
                result = -1;
                continue;
            }
            AppendSqlCommand(sql, AddColumnSql(declared.get(), table, column));
        }
    }
    return result;
}
