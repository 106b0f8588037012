// Tells the watch of an upgrade which rows a connection changes (see platform/base/watch.h). SQLite's hook gives every row
// before it is changed, whoever changes it: statements, triggers, foreign keys, conflicts that replace a row.
//
// A row is told apart by its primary key; where a table has none, or a part of the key is NULL, by its content.
//
//   T  table as a number, database, name, columns, then of each its name and its place in the key (0: none)
//   w  table, row, +1 where it is new, -1 where it goes, 0 where it changes; and a sum: those of one row, added up, are 0
//      when it is as it was. W: the same, and the values before and after
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "platform/vgdb/statement.h"

class RowWatch {
public:
    // Of a connection that has been opened; null while nobody watches. It outlives the connection, or is replaced.
    static std::unique_ptr<RowWatch> Of(sqlite3* db, const std::string& path);

    // A text of statements on the connection: what it has told is cut off again unless it is kept. `watch` may be null.
    class Call {
    public:
        explicit Call(RowWatch* watch);
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;
        ~Call();
        void Keep() { m_kept = true; }

    private:
        RowWatch* m_watch;
        uint64_t m_mark = 0;
        bool m_kept = false;
    };

    // The transaction that was open has been rolled back.
    void TellUndone() const;

private:
    struct Field {
        int type = SQLITE_NULL;
        long long integer = 0;
        double real = 0;
        std::string_view bytes;

        bool operator==(const Field& other) const;
        uint64_t Hash(uint64_t seed) const;
    };
    struct Table {
        bool watched = false;
        uint64_t number = 0;  // in the stream
        std::vector<int> key;
        std::vector<bool> hasDefault;  // one that is not NULL
        std::string storedSql;
        std::unique_ptr<Statement> stored;    // the row as it stands, for the length of a call
        uint64_t told[3] = {};                // in full: gone, changed, new
        std::unordered_set<uint64_t> inFull;  // these stay so for the step
    };

    RowWatch(sqlite3* db, std::string database) : m_db(db), m_database(std::move(database)) {}
    void OnChange(int operation, const char* name, sqlite3_int64 row);
    Table& Find(const char* name);
    void Describe(const std::string& name, Table& table);
    bool ReadBefore(Table& table, sqlite3_int64 row);
    bool ReadAfter(size_t columns);
    bool IsWanted(const Table& table, const std::vector<Field>& row) const;
    static uint64_t KeyOf(const Table& table, const std::vector<Field>& row, bool& hasKey);
    void Tell(Table& table, uint64_t key, int more, uint64_t sum);

    sqlite3* m_db;
    std::string m_database;
    int m_step = 0;  // in which the tables were described
    std::map<std::string, Table, std::less<>> m_tables;
    std::vector<Field> m_before, m_after;  // of the change that is being told
};
