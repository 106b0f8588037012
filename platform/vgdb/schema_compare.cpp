// What a database lacks of its schema file.
//
//   1. Load the schema file into a database in memory: what it declares.
//   2. For each declared table that the database lacks: the SQL that makes it, its first rows included.
//   3. For each declared column that its table lacks: the ALTER TABLE that adds it.
//   4. For each declared index that its table lacks: the statement that makes it.
//
// Tables, columns and indexes that are there, and whatever the database has beyond its schema file, stay as
// they are.

#include "platform/vgdb/schema_compare.h"

#include <algorithm>
#include <cctype>
#include <exception>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/base/once_more.h"
#include "platform/base/package_log.h"
#include "platform/files/file_io.h"
#include "platform/vgdb/connection.h"
#include "platform/vgdb/rows.h"
#include "platform/vgdb/statement.h"
#include "platform/vgdb/table_sql.h"
#include "platform/vgdb/vgdb.h"

using VGDB::SchemaDifferences;

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

struct Index {
    std::string table;
    std::string name;
    std::string sql;
};

// Tables and indexes of the database: the statements that made them, by name.
struct Present {
    std::map<std::string, std::string> tables;
    std::map<std::string, std::string> indexes;
    std::set<std::string> views;
};

// Names are compared as SQLite compares them.
std::string Fold(std::string name) {
    for (char& c : name)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return name;
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

// Whether the table has the column. Asks the schema that SQLite has loaded, which costs no statement. Gives
// the declared type.
bool HasColumn(sqlite3* db, const std::string& table, const std::string& column, std::string& type) {
    const char* text = nullptr;
    if (sqlite3_table_column_metadata(db, "main", table.c_str(), column.c_str(), &text, nullptr, nullptr,
                                      nullptr, nullptr) != SQLITE_OK)
        return false;
    type = text ? text : "";
    return true;
}

// How SQLite treats values of a column of the declared type, by the first rule that fits.
const char* Affinity(const std::string& type) {
    const std::string folded = Fold(type);
    const auto has = [&folded](const char* part) { return folded.find(part) != std::string::npos; };
    if (has("int"))
        return "INTEGER";
    if (has("char") || has("clob") || has("text"))
        return "TEXT";
    if (has("blob") || folded.empty())
        return "BLOB";
    if (has("real") || has("floa") || has("doub"))
        return "REAL";
    return "NUMERIC";
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

// A type may be several words, or a quoted text, which would read as constraints.
bool IsOneWord(const std::string& type) {
    return std::all_of(type.begin(), type.end(), [](unsigned char c) {
        return std::isalnum(c) || c == '_' || c == '(' || c == ')' || c == ',';
    });
}

std::string AddColumnSql(sqlite3* declared, const std::string& table, const Column& column) {
    std::string sql = "ALTER TABLE " + QuoteName(table) + " ADD COLUMN " + QuoteName(column.name);
    if (!column.type.empty())
        sql += ' ' + (IsOneWord(column.type) ? column.type : QuoteName(column.type));
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
    if (const int found = ReadWholeFile(sqlFile, text); found <= 0) {
        if (found == 0)
            VG_LIB_LOG("No schema file %s\n", sqlFile.c_str());
        return -1;
    }
    // SQLite would end there, and the rest would pass for not declared.
    if (text.find('\0') != std::string::npos) {
        VG_LIB_LOG("Schema file %s: damaged, it holds a NUL\n", sqlFile.c_str());
        return -1;
    }
    sqlite3* db = nullptr;
    const int opened = OpenSqlite(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, &db);
    declared.reset(db);
    sqlite3_limit(db, SQLITE_LIMIT_ATTACHED, 0);  // what the text makes stays in memory
    if (opened != SQLITE_OK || sqlite3_exec(db, text.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        VG_LIB_LOG("Schema file %s: %s\n", sqlFile.c_str(), sqlite3_errmsg(db));
        return -1;
    }
    return 0;
}

// Reads what is there with a statement as any other, so that it is waited for, tried again and logged.
int ReadPresent(const std::string& dbPath, Present& present) {
    Rows rows;
    if (Query(dbPath, "SELECT type, name, sql FROM sqlite_schema WHERE sql IS NOT NULL", rows))
        return -1;
    while (rows.Next()) {
        const std::string type = rows.String("type");
        const std::string name = Fold(rows.String("name"));
        const std::string sql = rows.String("sql");
        if (type == "table")
            present.tables[name] = sql;
        else if (type == "index")
            present.indexes[name] = sql;
        else if (type == "view")
            present.views.insert(name);
    }
    return 0;
}

// What the differences are gathered from.
class Comparison {
public:
    Comparison(sqlite3* declared, sqlite3* db, const std::string& dbPath, SchemaDifferences& differences)
        : m_declared(declared), m_db(db), m_dbPath(dbPath), m_differences(differences) {}

    // Returns SQLite's result code for the declared schema, which is then at fault, or -1 when the database
    // cannot be read (logged).
    int Run(const Present& present) {
        Statement objects;
        int code =
            objects.Prepare(m_declared,
                            "SELECT type, name, tbl_name, sql FROM sqlite_schema WHERE sql IS NOT NULL"
                            " AND type IN ('table', 'index') AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\'"
                            " ORDER BY type = 'index', rowid");
        if (code == SQLITE_OK)
            code = objects.Step();
        for (; code == SQLITE_ROW; code = objects.Step()) {
            const std::string name = objects.String(1);
            const int failed = objects.String(0) == "table"
                                   ? CompareTable(name, objects.String(3), present)
                                   : CompareIndex({objects.String(2), name, objects.String(3)}, present);
            if (failed)
                return failed;
        }
        return code == SQLITE_DONE ? SQLITE_OK : code;
    }

private:
    int CompareTable(const std::string& table, const std::string& sql, const Present& present) {
        const auto found = present.tables.find(Fold(table));
        if (found == present.tables.end()) {
            if (present.views.contains(Fold(table))) {
                m_differences.names[table].insert("*");
                m_differences.tablesNotAddable.push_back(table + ": a view stands in its place");
                return SQLITE_OK;
            }
            m_differences.tables.push_back(table);
            m_differences.names[table].insert("*");
            return AppendTableSql(m_declared, table, m_differences.sql);
        }
        // What was made by the same statement has the same columns.
        return found->second == sql ? SQLITE_OK : CompareColumns(table);
    }

    int CompareColumns(const std::string& table) {
        Statement row;
        if (const int code = row.Prepare(m_declared, ("SELECT * FROM " + QuoteName(table)).c_str()))
            return code;
        for (int i = 0; i < sqlite3_column_count(row.Get()); ++i) {
            const std::string name = sqlite3_column_name(row.Get(), i);
            std::string type;
            if (!HasColumn(m_db, table, name, type)) {
                if (const int code = AddColumn(table, name))
                    return code;
                continue;
            }
            std::string declaredType;
            HasColumn(m_declared, table, name, declaredType);
            if (Affinity(type) != std::string(Affinity(declaredType)))
                m_differences.typesThatDiffer.push_back(table + "." + name + ": " +
                                                        (type.empty() ? "no type" : type) + " instead of " +
                                                        (declaredType.empty() ? "no type" : declaredType));
        }
        return SQLITE_OK;
    }

    int AddColumn(const std::string& table, const std::string& name) {
        const std::string word = table + "." + name;
        m_differences.names[table].insert(name);
        Column column;
        if (const int code = Describe(m_declared, table, name, column))
            return code;
        if (const char* const why = WhyNotAddable(m_declared, m_db, table, column)) {
            m_differences.columnsNotAddable.push_back(word + ": " + why);
            return SQLITE_OK;
        }
        m_differences.columns.push_back(word);
        AppendSqlCommand(m_differences.sql, AddColumnSql(m_declared, table, column));
        m_added[Fold(word)] = column.defaultSql.value_or("NULL");
        return SQLITE_OK;
    }

    int CompareIndex(const Index& index, const Present& present) {
        if (present.indexes.contains(Fold(index.name)) || !present.tables.contains(Fold(index.table)))
            return SQLITE_OK;
        Statement row;
        const std::string query =
            "SELECT c.name, c.coll, l.\"unique\", l.partial FROM pragma_index_list(" +
            VGDB::QuoteEscape(index.table) +
            ") AS l, pragma_index_xinfo(l.name) AS c WHERE l.name = " + VGDB::QuoteEscape(index.name) +
            " AND c.key";
        if (const int code = row.Prepare(m_declared, query.c_str()))
            return code;
        std::string given;  // only values that are there can be there twice
        std::string values;
        std::string groups;
        int keys = 0;
        bool unique = false;
        bool plain = true;  // over columns and all rows
        int code = row.Step();
        for (; code == SQLITE_ROW; code = row.Step()) {
            unique = row.Int(2) != 0;
            plain = plain && row.Text(0) && row.Int(3) == 0;
            if (!row.Text(0))
                continue;
            std::string type;
            std::string value = QuoteName(row.String(0));
            if (!HasColumn(m_db, index.table, row.String(0), type)) {
                const auto added = m_added.find(Fold(index.table + "." + row.String(0)));
                if (added == m_added.end())
                    return LeaveOut(index, "its column " + row.String(0) + " cannot be added");
                value = "(" + added->second + ")";
            }
            const std::string key = "k" + std::to_string(keys++);
            values += (values.empty() ? "" : ", ") + value + " AS " + key;
            given += (given.empty() ? "" : " AND ") + key + " IS NOT NULL";
            groups += (groups.empty() ? "" : ", ") + key + " COLLATE " + QuoteName(row.String(1));
        }
        if (code != SQLITE_DONE)
            return code;
        if (!unique)
            return AddIndex(index);
        return AddUniqueIndex(index, plain,
                              "SELECT 1 FROM (SELECT " + values + " FROM " + QuoteName(index.table) +
                                  ") WHERE " + given + " GROUP BY " + groups +
                                  " HAVING count(*) > 1 LIMIT 1");
    }

    int AddUniqueIndex(const Index& index, bool plain, const std::string& alikeQuery) {
        if (!plain)
            return LeaveOut(index, "it is unique over some rows or an expression");
        Rows alike;
        if (Query(m_dbPath, alikeQuery, alike))
            return -1;
        return alike.Count() == 0 ? AddIndex(index) : LeaveOut(index, "rows are alike in it");
    }

    int LeaveOut(const Index& index, const std::string& why) {
        m_differences.indexesLeftOut.push_back(index.name + ": " + why);
        return SQLITE_OK;
    }

    // SQLite keeps the statement from the index's name on as it was written, after words of its own.
    int AddIndex(const Index& index) {
        m_differences.indexes.push_back(index.name);
        std::string sql = index.sql;
        const std::string words = "INDEX ";
        sql.insert(sql.find(words) + words.size(), "IF NOT EXISTS ");
        AppendSqlCommand(m_differences.sql, sql);
        return SQLITE_OK;
    }

    sqlite3* m_declared;
    sqlite3* m_db;
    const std::string& m_dbPath;
    SchemaDifferences& m_differences;
    std::map<std::string, std::string> m_added;  // "table.column" to the default that rows get
};

}  // namespace

int VGDB::CompareSchema(const std::string& dbPath, const std::string& sqlFile,
                        SchemaDifferences& differences) {
    try {
        SqliteHandle declared;
        Present present;
        if (OnceMore([&] { return LoadDeclared(sqlFile, declared); }) || ReadPresent(dbPath, present))
            return -1;
        sqlite3* const db = Connection::To(dbPath).Handle();
        if (!db)
            return -1;
        const int code = Comparison(declared.get(), db, dbPath, differences).Run(present);
        if (code > 0)
            VG_LIB_LOG("Schema file %s: %s\n", sqlFile.c_str(), sqlite3_errmsg(declared.get()));
        return code == SQLITE_OK ? 0 : -1;
    } catch (const std::exception& error) {
        VG_LIB_LOG("%s: %s\n", dbPath.c_str(), error.what());
        return -1;
    }
}
