#include "platform/vgdb/row_changes.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <map>
#include <set>

#include "platform/base/strings.h"
#include "platform/files/file_io.h"
#include "platform/vgdb/read_only.h"
#include "platform/vgdb/statement.h"
#include "platform/vgdb/table_sql.h"
#include "platform/vgdb/vgdb.h"

namespace VGDB {
namespace {

struct NoCase {
    bool operator()(const std::string& a, const std::string& b) const {
        return sqlite3_stricmp(a.c_str(), b.c_str()) < 0;
    }
};

struct Column {
    std::string name;
    std::string fallback;  // the default as SQL
    int keyPart = 0;       // its place in the primary key, from 1; 0: none
};

struct Table {
    bool isVirtual = false;
    std::vector<Column> columns;

    std::vector<std::string> Key() const {
        std::map<int, std::string> parts;
        for (const Column& column : columns)
            if (column.keyPart > 0)
                parts[column.keyPart] = column.name;
        std::vector<std::string> key;
        for (const auto& [place, name] : parts)
            key.push_back(name);
        return key;
    }
    bool Has(const std::string& name) const {
        return std::any_of(columns.begin(), columns.end(), [&name](const Column& column) {
            return sqlite3_stricmp(column.name.c_str(), name.c_str()) == 0;
        });
    }
};

struct Schema {
    std::map<std::string, Table, NoCase> tables;
    std::set<std::string, NoCase> others;  // "index i", "trigger t", "view v"
};

bool IsSame(const std::string& one, const std::string& other) {
    return sqlite3_stricmp(one.c_str(), other.c_str()) == 0;
}

// The database file as one that is only read; one in write-ahead mode without a log, which the caller has locked, without
// making one.
std::string UriOf(const std::string& path) {
    std::string uri = "file:";
    for (const char c : path)
        uri +=
            std::strchr("%?#", c) ? StringPrintf("%%%02x", static_cast<unsigned char>(c)) : std::string(1, c);
    char version = 0;
    const UniqueFd file(open(path.c_str(), kReadFlags));
    const bool writeAhead = file && pread(file.Get(), &version, 1, 18) == 1 && version == 2;
    return uri + (writeAhead ? "?immutable=1" : "?mode=ro");
}

FieldValue ValueOf(sqlite3_stmt* statement, int column) {
    using Kind = FieldValue::Kind;
    FieldValue value;
    switch (sqlite3_column_type(statement, column)) {
        case SQLITE_NULL:
            break;
        case SQLITE_INTEGER:
            value.kind = Kind::Integer;
            value.integer = sqlite3_column_int64(statement, column);
            break;
        case SQLITE_FLOAT:
            value.kind = Kind::Real;
            value.real = sqlite3_column_double(statement, column);
            break;
        default: {
            const bool isText = sqlite3_column_type(statement, column) == SQLITE_TEXT;
            value.kind = isText ? Kind::Text : Kind::Blob;
            const void* const bytes = isText
                                          ? static_cast<const void*>(sqlite3_column_text(statement, column))
                                          : sqlite3_column_blob(statement, column);
            if (bytes)
                value.bytes.assign(static_cast<const char*>(bytes),
                                   static_cast<size_t>(sqlite3_column_bytes(statement, column)));
        }
    }
    return value;
}

TableRow RowOf(const Statement& statement, int first, const std::vector<std::string>& names) {
    TableRow row;
    for (size_t i = 0; i < names.size(); ++i)
        row.emplace_back(names[i], ValueOf(statement.Get(), first + static_cast<int>(i)));
    return row;
}

std::vector<std::string> NamesOf(const Table& table) {
    std::vector<std::string> names;
    for (const Column& column : table.columns)
        names.push_back(column.name);
    return names;
}

// "a.x, a.y"
std::string ListOf(const char* side, const std::vector<std::string>& names) {
    std::vector<std::string> columns;
    for (const std::string& name : names)
        columns.push_back(std::string(side) + '.' + QuoteName(name));
    return JoinStrings(columns, ", ");
}

// Both states attached to one connection: `before.t AS b`, `after.t AS a`.
class Comparison {
public:
    Comparison(const CompareWay& way, DatabaseChanges& changes, std::string& problem)
        : m_way(way), m_changes(changes), m_problem(problem) {}

    int Run(const std::string& before, const std::string& after) {
        if (Compare(before, after))
            return 0;
        const int code = sqlite3_errcode(m_db.get());
        return code == SQLITE_CORRUPT || code == SQLITE_NOTADB ? 1 : -1;
    }

private:
    bool Compare(const std::string& before, const std::string& after) {
        sqlite3* db = nullptr;
        const int opened =
            OpenSqlite(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI, &db);
        m_db.reset(db);
        if (opened != SQLITE_OK || !TakeEncodingOf(after) || !TakeEncodingOf(before))
            return Fail("SQLite");
        Schema was, is;
        return Attach(before, "before") && Attach(after, "after") && ReadSchema("before", was) &&
               ReadSchema("after", is) && CompareSchemas(was, is) && CompareTables(was, is);
    }

    bool Fail(const std::string& what) {
        m_problem = what + ": " + sqlite3_errmsg(m_db.get());
        return false;
    }

    // All databases of a connection have the same.
    bool TakeEncodingOf(const std::string& path) {
        constexpr off_t kEncodingAt = 59;  // 2 and 3: UTF-16
        char encoding = 0;
        const UniqueFd file(open(path.c_str(), kReadFlags));
        if (!file || pread(file.Get(), &encoding, 1, kEncodingAt) != 1 || encoding < 2)
            return true;
        return sqlite3_exec(m_db.get(),
                            encoding == 2 ? "PRAGMA encoding = 'UTF-16le'" : "PRAGMA encoding = 'UTF-16be'",
                            nullptr, nullptr, nullptr) == SQLITE_OK;
    }

    bool Attach(const std::string& path, const char* name) {
        Statement statement;
        std::string file = access(path.c_str(), F_OK) == 0 ? path : ":memory:";
        BusyWait busy(path);
        SqliteHandle reading;
        if (m_way.readOnly && file == path) {
            sqlite3* db = nullptr;
            const int code = m_readings.emplace_back().Open(path, busy, &db);
            reading.reset(db);
            if (code != SQLITE_OK) {
                m_problem = path + " cannot be read now: " + sqlite3_errstr(code);
                return false;
            }
            const bool isAlone =
                access((path + "-wal").c_str(), F_OK) != 0 && access((path + "-journal").c_str(), F_OK) != 0;
            file = isAlone ? UriOf(path) : "";  // '': a private temporary file
        }
        if (statement.Prepare(m_db.get(), "ATTACH ?1 AS ?2") != SQLITE_OK ||
            sqlite3_bind_text(statement.Get(), 1, file.c_str(), -1, SQLITE_TRANSIENT) != SQLITE_OK ||
            sqlite3_bind_text(statement.Get(), 2, name, -1, SQLITE_TRANSIENT) != SQLITE_OK ||
            statement.Step() != SQLITE_DONE)
            return Fail(path);
        return !file.empty() || Copy(reading.get(), name) || Fail(path);
    }

    // What has a journal is read as a copy.
    bool Copy(sqlite3* from, const char* name) {
        sqlite3_backup* const backup = sqlite3_backup_init(m_db.get(), name, from, "main");
        return backup && sqlite3_backup_step(backup, -1) == SQLITE_DONE &&
               sqlite3_backup_finish(backup) == SQLITE_OK;
    }

    template <class Take>
    bool Query(const std::string& sql, Take take) {
        return ForEachRow(m_db.get(), sql, take) == SQLITE_OK || Fail(sql.substr(0, 100));
    }

    bool Count(const std::string& sql, uint64_t& count) {
        return Query(sql, [&count](const Statement& row) { count = static_cast<uint64_t>(row.Int64(0)); });
    }

    bool ReadSchema(const std::string& side, Schema& schema) {
        const auto take = [&](const Statement& row) {
            const std::string type = row.String(0), name = row.String(1), table = row.String(2);
            if (sqlite3_strnicmp(name.c_str(), "sqlite_", 7) == 0 || IsLeftOut(table))
                return;
            if (type != "table")
                schema.others.insert(type + ' ' + name);
            else
                schema.tables[name].isVirtual =
                    sqlite3_strnicmp(row.String(3).c_str(), "CREATE VIRTUAL", 14) == 0;
        };
        if (!Query("SELECT type, name, tbl_name, sql FROM " + side + ".sqlite_master", take))
            return false;
        for (auto& [name, table] : schema.tables) {
            if (table.isVirtual)
                continue;
            const auto takeColumn = [&, &columns = table.columns](const Statement& row) {
                columns.push_back({.name = row.String(1), .fallback = row.String(4), .keyPart = row.Int(5)});
            };
            if (!Query("PRAGMA " + side + ".table_info(" + QuoteName(name) + ")", takeColumn))
                return false;
        }
        return true;
    }

    bool IsLeftOut(const std::string& table) const {
        return !m_way.leftOut.empty() && sqlite3_stricmp(table.c_str(), m_way.leftOut.c_str()) == 0;
    }

    bool IsCompared(const std::string& table) const {
        return m_way.table.empty() || IsSame(table, m_way.table);
    }

    bool CompareSchemas(const Schema& was, const Schema& is) {
        for (const auto& [sign, old, now] : {std::tuple("+", &was, &is), std::tuple("-", &is, &was)}) {
            const auto note = [&, sign = sign](const std::string& what) {
                m_changes.schema.push_back(sign + what);
            };
            for (const auto& [name, table] : now->tables)
                if (IsCompared(name) && !old->tables.contains(name))
                    note("table " + name);
            for (const auto& [name, table] : now->tables)
                if (const auto other = old->tables.find(name); IsCompared(name) && other != old->tables.end())
                    for (const Column& column : table.columns)
                        if (!other->second.Has(column.name))
                            note("column " + name + '.' + column.name);
            for (const std::string& other : now->others)
                if (m_way.table.empty() && !old->others.contains(other))
                    note(other);
        }
        return true;
    }

    bool CompareTables(const Schema& was, const Schema& is) {
        std::set<std::string, NoCase> names;
        for (const Schema* schema : {&was, &is})
            for (const auto& [name, table] : schema->tables)
                if (!table.isVirtual && IsCompared(name))
                    names.insert(name);
        const auto find = [](const Schema& schema, const std::string& name) {
            const auto found = schema.tables.find(name);
            return found == schema.tables.end() || found->second.isVirtual ? nullptr : &found->second;
        };
        for (const std::string& name : names) {
            m_table = {};
            m_table.table = name;
            m_samples = {};
            const Table* const old = find(was, name);
            const Table* const now = find(is, name);
            const Table& either = now ? *now : *old;
            m_table.key = either.Key();
            m_idColumn = m_way.id.empty() ? ""
                                          : QuoteName(m_table.key.empty() ? either.columns.front().name
                                                                          : m_table.key.front());
            if (!(old && now ? CompareTable(*old, *now) : TakeWholeTable(old ? *old : *now, !old)))
                return false;
            if (m_table.inserted + m_table.updated + m_table.deleted == 0)
                continue;
            m_table.samples = PickSamples(std::move(m_samples), m_way.samples);
            m_changes.tables.push_back(std::move(m_table));
        }
        return true;
    }

    std::string From(const char* side) const {
        const std::string table = (*side == 'a' ? "after." : "before.") + QuoteName(m_table.table);
        if (m_idColumn.empty())
            return table + " AS " + side;
        return "(SELECT * FROM " + table + " WHERE CAST(" + m_idColumn +
               " AS TEXT) = " + VGDB::QuoteEscape(m_way.id) + ") AS " + side;
    }

    bool WantsAll() const { return IsSame(m_table.table, m_way.log); }

    void NoteInserted(TableRow row) {
        if (WantsAll())
            m_way.inserted(row);
        if (m_samples[0].size() < m_way.samples)
            m_samples[0].push_back({.before = {}, .after = std::move(row), .changed = {}});
    }
    void NoteDeleted(TableRow row) {
        if (m_samples[1].size() < m_way.samples)
            m_samples[1].push_back({.before = std::move(row), .after = {}, .changed = {}});
    }

    std::string Limit(bool all) const {
        return all || m_way.samples == SIZE_MAX ? "" : " LIMIT " + std::to_string(m_way.samples);
    }

    bool TakeWholeTable(const Table& table, bool isNew) {
        const char* const side = isNew ? "a" : "b";
        const std::vector<std::string> names = NamesOf(table);
        return Count("SELECT count(*) FROM " + From(side), isNew ? m_table.inserted : m_table.deleted) &&
               Query("SELECT " + ListOf(side, names) + " FROM " + From(side) + Limit(isNew && WantsAll()),
                     [&](const Statement& row) {
                         isNew ? NoteInserted(RowOf(row, 0, names)) : NoteDeleted(RowOf(row, 0, names));
                     });
    }

    bool CompareTable(const Table& old, const Table& now) {
        const std::vector<std::string> key = now.Key(), oldKey = old.Key();
        uint64_t nulls = 0;
        bool hasKey =
            !key.empty() && std::equal(key.begin(), key.end(), oldKey.begin(), oldKey.end(), IsSame);
        for (const char* side : {"a", "b"}) {
            std::vector<std::string> isNull;
            for (const std::string& name : key)
                isNull.push_back(std::string(side) + '.' + QuoteName(name) + " IS NULL");
            if (hasKey && !Count("SELECT EXISTS (SELECT 1 FROM " + From(side) + " WHERE " +
                                     JoinStrings(isNull, " OR ") + ")",
                                 nulls))
                return false;
            hasKey = hasKey && nulls == 0;
        }
        return hasKey ? CompareByKey(old, now, key) : CompareByContent(old, now);
    }

    // The value of a column of today before the upgrade.
    static std::string Before(const Table& old, const Column& column) {
        if (old.Has(column.name))
            return "b." + QuoteName(column.name);
        return column.fallback.empty() ? "NULL" : "(" + column.fallback + ")";
    }

    // A term a column: whether its value has changed.
    static std::vector<std::string> DifferingTerms(const Table& old, const Table& now) {
        std::vector<std::string> terms;
        for (const Column& column : now.columns)
            terms.push_back("a." + QuoteName(column.name) + " IS NOT " + Before(old, column) +
                            " COLLATE BINARY");
        return terms;
    }

    static std::string Differs(const Table& old, const Table& now) {
        return "(" + JoinStrings(DifferingTerms(old, now), " OR ") + ")";
    }

    bool CompareByKey(const Table& old, const Table& now, const std::vector<std::string>& key) {
        std::vector<std::string> equal;
        for (const std::string& name : key)
            equal.push_back("a." + QuoteName(name) + " = b." + QuoteName(name));
        const std::string same = JoinStrings(equal, " AND ");
        const std::string differs = Differs(old, now);
        const std::string joined = " FROM " + From("a") + " CROSS JOIN " + From("b") + " ON " + same;

        uint64_t both = 0;
        const auto takeCounts = [&](const Statement& row) {
            both = static_cast<uint64_t>(row.Int64(0));
            m_table.updated = static_cast<uint64_t>(row.Int64(1));
        };
        if (!Count("SELECT count(*) FROM " + From("a"), m_table.inserted) ||
            !Count("SELECT count(*) FROM " + From("b"), m_table.deleted) ||
            !Query("SELECT count(*), sum(" + differs + ")" + joined, takeCounts))
            return false;
        m_table.inserted -= both;
        m_table.deleted -= both;

        const std::vector<std::string> names = NamesOf(now), oldNames = NamesOf(old);
        const auto takeUpdated = [&](const Statement& row) {
            const int count = static_cast<int>(names.size());
            RowChange change{
                .before = RowOf(row, 2 * count, oldNames), .after = RowOf(row, 0, names), .changed = {}};
            for (int i = 0; i < count; ++i)
                if (row.Int(count + i))
                    change.changed.push_back(names[static_cast<size_t>(i)]);
            m_samples[2].push_back(std::move(change));
        };
        const auto missing = [&](const char* side, const char* other) {
            return " FROM " + From(side) + " WHERE NOT EXISTS (SELECT 1 FROM " + From(other) + " WHERE " +
                   same + ")";
        };
        return (m_table.updated == 0 ||
                Query("SELECT " + ListOf("a", names) + ", " + JoinStrings(DifferingTerms(old, now), ", ") +
                          ", " + ListOf("b", oldNames) + joined + " WHERE " + differs + Limit(false),
                      takeUpdated)) &&
               (m_table.inserted == 0 ||
                Query("SELECT " + ListOf("a", names) + missing("a", "b") + Limit(WantsAll()),
                      [&](const Statement& row) { NoteInserted(RowOf(row, 0, names)); })) &&
               (m_table.deleted == 0 ||
                Query("SELECT " + ListOf("b", oldNames) + missing("b", "a") + Limit(false),
                      [&](const Statement& row) { NoteDeleted(RowOf(row, 0, oldNames)); }));
    }

    // Rows that stand unchanged under their number are left out of the sorting; that they pair off leaves the
    // difference as it is.
    std::string Unpaired(const Table& old, const Table& now, const std::string& other,
                         const std::string& differs) const {
        for (const char* name : {"rowid", "_rowid_", "oid"})
            if (m_idColumn.empty() && !old.Has(name) && !now.Has(name))
                return std::string(" WHERE NOT EXISTS (SELECT 1 FROM ") + other + " WHERE a." + name +
                       " = b." + name + " AND NOT " + differs + ")";
        return "";
    }

    bool CompareByContent(const Table& old, const Table& now) {
        const std::string differs = Differs(old, now);
        std::vector<std::string> nowValues, oldValues, groups;
        for (const Column& column : now.columns) {
            const std::string place = 'c' + std::to_string(groups.size());
            nowValues.push_back("a." + QuoteName(column.name) + " AS " + place);
            oldValues.push_back(Before(old, column));
            groups.push_back(place + " COLLATE BINARY");
        }
        const std::string sql = "SELECT sum(s), * FROM (SELECT 1 AS s, " + JoinStrings(nowValues, ", ") +
                                " FROM " + From("a") + Unpaired(old, now, From("b"), differs) +
                                " UNION ALL SELECT -1, " + JoinStrings(oldValues, ", ") + " FROM " +
                                From("b") + Unpaired(old, now, From("a"), differs) + ") GROUP BY " +
                                JoinStrings(groups, ", ") + " HAVING sum(s) <> 0";
        const std::vector<std::string> names = NamesOf(now);
        return Query(sql, [&](const Statement& statement) {
            const long long more = statement.Int64(0);
            const TableRow row = RowOf(statement, 2, names);
            (more > 0 ? m_table.inserted : m_table.deleted) += static_cast<uint64_t>(std::abs(more));
            TableRow oldRow;
            for (const auto& field : row)
                if (more < 0 && old.Has(field.first))
                    oldRow.push_back(field);
            for (long long i = 0;
                 i < std::abs(more) && (WantsAll() || i < static_cast<long long>(m_way.samples)); ++i)
                more > 0 ? NoteInserted(row) : NoteDeleted(oldRow);
        });
    }

    const CompareWay& m_way;
    std::deque<Reading> m_readings;  // end after the connection
    DatabaseChanges& m_changes;
    std::string& m_problem;
    SqliteHandle m_db;
    TableChanges m_table;
    std::string m_idColumn;                           // '': all rows
    std::array<std::vector<RowChange>, 3> m_samples;  // inserted, deleted, updated
};

}  // namespace

std::vector<RowChange> PickSamples(std::array<std::vector<RowChange>, 3> kinds, size_t most) {
    std::vector<RowChange> picked;
    for (size_t i = 0, found = 1; found > 0 && picked.size() < most; ++i) {
        found = 0;
        for (const size_t kind : {2, 0, 1})
            if (i < kinds[kind].size() && picked.size() < most && ++found > 0)
                picked.push_back(std::move(kinds[kind][i]));
    }
    return picked;
}

int CompareDatabases(const std::string& before, const std::string& after, const CompareWay& way,
                     DatabaseChanges& changes, std::string& problem) {
    changes = {};
    return Comparison(way, changes, problem).Run(before, after);
}

}  // namespace VGDB
