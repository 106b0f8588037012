// Before SQLite's header, which else leaves the hook out.
#define SQLITE_ENABLE_PREUPDATE_HOOK
#include "platform/vgdb/row_watch.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "platform/base/watch.h"
#include "platform/vgdb/table_sql.h"
#include "platform/vgdb/vgdb.h"

namespace {

constexpr const char* kRecordTable = "vgupgrader_record";

uint64_t Mixed(uint64_t x) {
    x = (x ^ (x >> 32)) * 0xd6e8feb86659fd93u;
    x = (x ^ (x >> 32)) * 0xd6e8feb86659fd93u;
    return x ^ (x >> 32);
}

// As the package's tools call the database.
std::string NameOf(const std::string& path) {
    for (int db = 0; db < DB_INSTANCE_COUNT; ++db)
        if (VGDB::GetDBPath(static_cast<DB_INSTANCE>(db)) == path)
            return VGDB::GetDBName(static_cast<DB_INSTANCE>(db));
    return path;
}

// A real number without a fraction is the same as the integer, as in a comparison.
bool IsWhole(double real) { return std::abs(real) < 9e15 && real == std::floor(real); }

}  // namespace

bool RowWatch::Field::operator==(const Field& other) const {
    if (type != other.type)
        return Hash(0) == other.Hash(0);
    return integer == other.integer && real == other.real && bytes == other.bytes;
}

uint64_t RowWatch::Field::Hash(uint64_t seed) const {
    const bool isInteger = type == SQLITE_INTEGER || (type == SQLITE_FLOAT && IsWhole(real));
    uint64_t hash =
        Mixed(seed + static_cast<uint64_t>(isInteger ? SQLITE_INTEGER : type) * 0x9e3779b97f4a7c15u);
    if (isInteger)
        return Mixed(hash ^ Mixed(static_cast<uint64_t>(
                                type == SQLITE_INTEGER ? integer : static_cast<long long>(real))));
    if (type == SQLITE_FLOAT) {
        uint64_t bits = 0;
        std::memcpy(&bits, &real, sizeof(bits));
        return Mixed(hash ^ Mixed(bits));
    }
    for (size_t at = 0; at < bytes.size(); at += 8) {
        uint64_t part = 0;
        std::memcpy(&part, bytes.data() + at, std::min<size_t>(8, bytes.size() - at));
        hash = Mixed(hash ^ part) + at;
    }
    return Mixed(hash + bytes.size());
}

std::unique_ptr<RowWatch> RowWatch::Of(sqlite3* db, const std::string& path) {
    if (!Watch::Current())
        return nullptr;
    std::unique_ptr<RowWatch> watch(new RowWatch(db, NameOf(path)));
    sqlite3_preupdate_hook(
        db,
        [](void* self, sqlite3*, int operation, const char* database, const char* table, sqlite3_int64 row,
           sqlite3_int64) {
            if (std::strcmp(database, "main") == 0)
                static_cast<RowWatch*>(self)->OnChange(operation, table, row);
        },
        watch.get());
    return watch;
}

RowWatch::Call::Call(RowWatch* watch) : m_watch(watch) {
    if (m_watch)
        m_mark = Watch::Current()->Mark();
}

RowWatch::Call::~Call() {
    if (!m_watch)
        return;
    if (!m_kept) {
        Watch::Current()->CutBackTo(m_mark);
        m_watch->m_tables.clear();  // their descriptions may be gone
    }
    for (auto& [name, table] : m_watch->m_tables)
        table.stored.reset();  // a connection with a statement does not close
}

void RowWatch::TellUndone() const { Watch::Current()->Undone(m_database); }

// The tables are described anew in each step: an earlier one may have changed them.
RowWatch::Table& RowWatch::Find(const char* name) {
    if (const int step = Watch::Current()->StepsBegun(); step != m_step) {
        m_tables.clear();
        m_step = step;
    }
    auto found = m_tables.find(std::string_view(name));
    const auto columns = static_cast<size_t>(sqlite3_preupdate_count(m_db));
    if (found == m_tables.end() || (found->second.watched && found->second.hasDefault.size() != columns)) {
        found = m_tables.insert_or_assign(name, Table{}).first;
        Describe(found->first, found->second);
    }
    return found->second;
}

void RowWatch::Describe(const std::string& name, Table& table) {
    const Watch::Wanted& wanted = Watch::Current()->What();
    if (sqlite3_strnicmp(name.c_str(), "sqlite_", 7) == 0 || name == kRecordTable ||
        (!wanted.table.empty() && sqlite3_stricmp(name.c_str(), wanted.table.c_str()) != 0))
        return;
    struct Column {
        std::string name;
        int keyPart;
    };
    std::vector<Column> columns;
    std::map<int, int> key;
    const char* rowName = nullptr;
    const auto take = [&](const Statement& row) {
        key[row.Int(5)] = static_cast<int>(columns.size());
        columns.push_back({.name = row.String(1), .keyPart = row.Int(5)});
        const std::string fallback = row.String(4);
        table.hasDefault.push_back(!fallback.empty() && sqlite3_stricmp(fallback.c_str(), "NULL") != 0);
    };
    if (ForEachRow(m_db, "PRAGMA table_xinfo(" + QuoteName(name) + ")", take) != SQLITE_OK)
        return;
    for (const char* one : {"oid", "_rowid_", "rowid"}) {
        Statement probe;
        const auto isColumn = [one](const Column& column) {
            return sqlite3_stricmp(column.name.c_str(), one) == 0;
        };
        if (std::none_of(columns.begin(), columns.end(), isColumn) &&
            probe.Prepare(m_db, ("SELECT " + std::string(one) + " FROM " + QuoteName(name)).c_str()) ==
                SQLITE_OK)
            rowName = one;
    }
    if (rowName)
        table.storedSql = "SELECT * FROM " + QuoteName(name) + " WHERE " + rowName + " = ?1";
    key.erase(0);
    for (const auto& [part, column] : key)
        table.key.push_back(column);
    table.watched = true;
    table.number = Watch::Current()->Mark();  // no other table has it
    WatchRecord record('T');
    record.Number(table.number).Text(m_database).Text(name).Number(columns.size());
    for (const Column& column : columns)
        record.Text(column.name).Number(static_cast<uint64_t>(column.keyPart));
    Watch::Current()->Write(record);
}

namespace {

template <class Field>
Field FieldOf(sqlite3_value* value) {
    Field field;
    field.type = sqlite3_value_type(value);
    if (field.type == SQLITE_INTEGER) {
        field.integer = sqlite3_value_int64(value);
    } else if (field.type == SQLITE_FLOAT) {
        field.real = sqlite3_value_double(value);
    } else if (field.type != SQLITE_NULL) {
        const void* const bytes =
            field.type == SQLITE_TEXT ? sqlite3_value_text(value) : sqlite3_value_blob(value);
        field.bytes = {static_cast<const char*>(bytes),
                       bytes ? static_cast<size_t>(sqlite3_value_bytes(value)) : 0};
    }
    return field;
}

}  // namespace

// A column that came by ALTER TABLE is not in the rows that stood before, and the hook gives NULL for it; so where there
// is a default, the row itself is asked.
bool RowWatch::ReadBefore(Table& table, sqlite3_int64 row) {
    m_before.clear();
    bool asked = false;
    for (size_t i = 0; i < table.hasDefault.size(); ++i) {
        sqlite3_value* value = nullptr;
        if (sqlite3_preupdate_old(m_db, static_cast<int>(i), &value) != SQLITE_OK)
            return false;
        if (table.hasDefault[i] && sqlite3_value_type(value) == SQLITE_NULL && !table.storedSql.empty()) {
            if (!table.stored) {
                table.stored = std::make_unique<Statement>();
                if (table.stored->Prepare(m_db, table.storedSql.c_str()) != SQLITE_OK)
                    return false;
            }
            if (!std::exchange(asked, true) &&
                (sqlite3_reset(table.stored->Get()) != SQLITE_OK ||
                 sqlite3_bind_int64(table.stored->Get(), 1, row) != SQLITE_OK ||
                 table.stored->Step() != SQLITE_ROW))
                return false;
            value = sqlite3_column_value(table.stored->Get(), static_cast<int>(i));
        }
        m_before.push_back(FieldOf<Field>(value));
    }
    return true;
}

bool RowWatch::ReadAfter(size_t columns) {
    m_after.clear();
    for (size_t i = 0; i < columns; ++i) {
        sqlite3_value* value = nullptr;
        if (sqlite3_preupdate_new(m_db, static_cast<int>(i), &value) != SQLITE_OK)
            return false;
        m_after.push_back(FieldOf<Field>(value));
    }
    return true;
}

bool RowWatch::IsWanted(const Table& table, const std::vector<Field>& row) const {
    const std::string& id = Watch::Current()->What().id;
    if (id.empty() || row.empty())
        return id.empty();
    const Field& first = row[table.key.empty() ? 0 : static_cast<size_t>(table.key.front())];
    return first.type == SQLITE_INTEGER ? std::to_string(first.integer) == id : first.bytes == id;
}

uint64_t RowWatch::KeyOf(const Table& table, const std::vector<Field>& row, bool& hasKey) {
    uint64_t key = 0;
    for (const int column : table.key) {
        const Field& field = row[static_cast<size_t>(column)];
        hasKey = hasKey && field.type != SQLITE_NULL;
        key = Mixed(field.Hash(key));
    }
    hasKey = hasKey && !table.key.empty();
    return key;
}

void RowWatch::Tell(Table& table, uint64_t key, int more, uint64_t sum) {
    const uint64_t most = Watch::Current()->What().rows;
    bool inFull = most == 0 || table.inFull.contains(key);
    if (!inFull && table.told[more + 1] < most) {
        ++table.told[more + 1];
        table.inFull.insert(key);
        inFull = true;
    }
    WatchRecord record(inFull ? 'W' : 'w');
    record.Number(table.number).Fixed(key).Signed(more).Fixed(sum);
    for (const auto& [row, isThere] : {std::pair(&m_before, more <= 0), std::pair(&m_after, more >= 0)}) {
        for (const Field& field : *row) {
            if (!inFull || !isThere)
                break;
            record.Number(static_cast<uint64_t>(field.type));
            if (field.type == SQLITE_INTEGER)
                record.Signed(field.integer);
            else if (field.type == SQLITE_FLOAT)
                record.Text({reinterpret_cast<const char*>(&field.real), sizeof(field.real)});
            else if (field.type != SQLITE_NULL)
                record.Text(field.bytes);
        }
    }
    Watch::Current()->Write(record);
}

void RowWatch::OnChange(int operation, const char* name, sqlite3_int64 row) {
    Table& table = Find(name);
    if (!table.watched)
        return;
    m_before.clear();
    m_after.clear();
    const bool read = (operation == SQLITE_INSERT || ReadBefore(table, row)) &&
                      (operation == SQLITE_DELETE || ReadAfter(table.hasDefault.size()));
    if (read && (IsWanted(table, m_before) || IsWanted(table, m_after))) {
        const auto contentOf = [](const std::vector<Field>& fields) {
            uint64_t sum = 0;
            for (size_t i = 0; i < fields.size(); ++i)
                sum += fields[i].Hash(i);
            return sum;
        };
        bool hasKey = true;
        const uint64_t was = m_before.empty() ? 0 : KeyOf(table, m_before, hasKey);
        const uint64_t is = m_after.empty() ? 0 : KeyOf(table, m_after, hasKey);
        if (operation == SQLITE_UPDATE && hasKey && was == is) {
            uint64_t sum = 0;
            for (size_t i = 0; i < m_before.size(); ++i)
                if (!(m_before[i] == m_after[i]))
                    sum += m_after[i].Hash(i) - m_before[i].Hash(i);
            if (sum != 0)
                Tell(table, was, 0, sum);
        } else {
            if (operation != SQLITE_INSERT) {
                const uint64_t content = contentOf(m_before);
                Tell(table, hasKey ? was : content, -1, 0 - content);
            }
            if (operation != SQLITE_DELETE) {
                const uint64_t content = contentOf(m_after);
                Tell(table, hasKey ? is : content, +1, content);
            }
        }
    }
    if (table.stored)
        sqlite3_reset(table.stored->Get());
}
