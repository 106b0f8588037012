// What differs between two states of a database.
//
// SQLite's own difference of tables (sqlite3session_diff) is not used: it refuses a table that has gained a column,
// leaves out rows with a NULL in their key, and keeps every change in memory.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace VGDB {

struct FieldValue {
    enum class Kind { Null, Integer, Real, Text, Blob };
    Kind kind = Kind::Null;
    long long integer = 0;
    double real = 0;
    std::string bytes;  // of a text or a blob
    bool operator==(const FieldValue&) const = default;
};

// Columns and their values, in the order of the table.
using TableRow = std::vector<std::pair<std::string, FieldValue>>;

struct RowChange {
    std::optional<TableRow> before;
    std::optional<TableRow> after;
    std::vector<std::string> changed;  // the columns that make it an update
};

struct TableChanges {
    std::string table;
    std::vector<std::string> key;  // its columns; none where rows are told apart by their content
    uint64_t inserted = 0;
    uint64_t updated = 0;
    uint64_t deleted = 0;
    std::vector<RowChange> samples;
};

struct DatabaseChanges {
    std::vector<TableChanges> tables;  // those with changed rows
    std::vector<std::string> schema;   // "+table x", "+column y.z", "+index i"; "-" for what is gone
};

struct CompareWay {
    size_t samples = 3;  // a table, of every kind of change where there are such; SIZE_MAX: all
    bool readOnly = false;
    std::string leftOut;   // a table that does not count
    std::string table;     // this one alone; '': all
    std::string id;        // and of it the row whose key begins so; '': all
    std::string log = "";  // a table whose inserted rows are told, each
    std::function<void(const TableRow&)> inserted = {};
};

// Of the rows that have come, gone and changed, so many of every kind as there is room for.
std::vector<RowChange> PickSamples(std::array<std::vector<RowChange>, 3> kinds, size_t most);

// Compares the database files by their real paths; one that is not there is empty. Rows are told apart by the primary
// key; where a table has none (or with a NULL in it, or another one than before) by their content, as inserted and
// deleted rows alone. A column that was added counts where its value is not the default. Reading may play back what
// an interrupted commit has left, unless the way is to change nothing. Returns 0; 1 where one is damaged or no database, -1 else, with the
// reason in `problem`.
[[nodiscard]] int CompareDatabases(const std::string& before, const std::string& after, const CompareWay& way,
                                   DatabaseChanges& changes, std::string& problem);

}  // namespace VGDB
