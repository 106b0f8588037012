// Owners of SQLite's handles, for this library only.
#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <utility>

struct CloseSqlite {
    void operator()(sqlite3* db) const { sqlite3_close(db); }
};
using SqliteHandle = std::unique_ptr<sqlite3, CloseSqlite>;

// Opens a database as this library does. Returns SQLite's result code; *db is then to be closed all the same.
int OpenSqlite(const char* path, int flags, sqlite3** db, const char* vfs = nullptr);

// One prepared statement. Empty when the text holds none (blanks and comments only).
class Statement {
public:
    Statement() = default;
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement() { sqlite3_finalize(m_statement); }

    // Compiles the first statement of the text; *tail is what stands behind it. Returns SQLite's result code.
    int Prepare(sqlite3* db, const char* sql, const char** tail = nullptr) {
        sqlite3_finalize(m_statement);
        m_statement = nullptr;
        return sqlite3_prepare_v2(db, sql, -1, &m_statement, tail);
    }

    void Finalize() { sqlite3_finalize(std::exchange(m_statement, nullptr)); }

    explicit operator bool() const { return m_statement != nullptr; }
    sqlite3_stmt* Get() const { return m_statement; }

    int Step() { return sqlite3_step(m_statement); }

    // Null when the field is NULL.
    const char* Text(int column) const {
        return reinterpret_cast<const char*>(sqlite3_column_text(m_statement, column));
    }
    std::string String(int column) const {
        const char* text = Text(column);
        return text ? text : "";
    }
    int Int(int column) const { return sqlite3_column_int(m_statement, column); }
    long long Int64(int column) const { return sqlite3_column_int64(m_statement, column); }

private:
    sqlite3_stmt* m_statement = nullptr;
};

// Calls take(row), a Statement, for every row of a query. Returns SQLite's result code.
template <class Take>
int ForEachRow(sqlite3* db, const std::string& query, Take take) {
    Statement row;
    int code = row.Prepare(db, query.c_str());
    while (code == SQLITE_OK || code == SQLITE_ROW) {
        code = row.Step();
        if (code == SQLITE_ROW)
            take(row);
    }
    return code == SQLITE_DONE ? SQLITE_OK : code;
}
